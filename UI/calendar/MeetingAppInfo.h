// The meeting apps a user may follow for automatic recording, and the default list of followed apps.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct MeetingAppInfo {
    std::string id;
    std::string name;
    /// Symbol name of the row's icon.
    std::string icon;
    /// The app's bundle identifier; nothing for the browser entry.
    std::optional<std::string> bundleID;
    bool browserBased = false;

    bool operator==(const MeetingAppInfo&) const = default;

    /// The nine known apps, in settings order.
    static const std::vector<MeetingAppInfo>& all();
    static std::optional<MeetingAppInfo> withID(std::string_view id);
    /// The bundle identifiers of the known apps (eight: the browser entry has none).
    static const std::vector<std::string>& defaultBundleIDs();
    /// The default value of "enabledMeetingApps".
    static constexpr std::string_view defaultEnabledApps = "zoom,teams,meet,slack,discord";
};

} // namespace UI

// The meeting apps the user added by hand, kept in the user default "customMeetingApps" (JSON list), and
// the set of followed apps in "enabledMeetingApps" (ids and bundle identifiers joined with ","). Lives on
// the main loop; `customApps` tells observers about every change. A stored list that cannot be decoded
// reads as empty (and is only replaced when the user adds or removes an app).
#pragma once

#include "Support/Signal.h"
#include "Support/Time.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CustomMeetingApp.h"

#include <functional>
#include <string>
#include <vector>

namespace UI {

class CustomMeetingAppsManager {
public:
    static constexpr const char* customAppsKey = "customMeetingApps";
    static constexpr const char* enabledAppsKey = "enabledMeetingApps";

    /// Loads the list at once. `now` gives the date stamped on added apps.
    explicit CustomMeetingAppsManager(Support::UserDefaults& defaults,
                                      std::function<Support::Date()> now = Support::systemNow);

    Support::Published<std::vector<CustomMeetingApp>> customApps;

    void load();
    /// False (and nothing changes) when an app with exactly that bundle identifier is already listed.
    bool addApp(const std::string& bundleId, const std::string& displayName);
    void removeApp(const std::string& id);
    std::vector<std::string> getAllBundleIds() const;
    bool isCustomApp(const std::string& bundleId) const;
    bool isEnabled(const std::string& bundleId) const;

private:
    void saveCustomApps();
    /// The followed apps in stored order (the default list when the key is absent).
    std::vector<std::string> getEnabledApps() const;
    void addToEnabledApps(const std::string& bundleId);
    void removeFromEnabledApps(const std::string& bundleId);
    void writeEnabledApps(const std::vector<std::string>& apps);

    Support::UserDefaults& defaults_;
    std::function<Support::Date()> now_;
};

} // namespace UI

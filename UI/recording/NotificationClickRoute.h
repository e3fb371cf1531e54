// Where a click on one of our notifications (or one of its buttons) leads: a meeting-reminder answer, the
// recording-permission settings, the live recap panel, the app itself, or nowhere. A reminder whose data
// cannot be read leads nowhere rather than opening the app.
#pragma once

#include "UI/calendar/MeetingReminderResponse.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace UI {

struct NotificationClickRoute {
    enum class Kind { meetingReminder, recordingPermission, liveRecapNameMention, openApp, none };

    Kind kind = Kind::none;
    /// Set for `meetingReminder`.
    std::optional<MeetingReminderResponse> response;

    static NotificationClickRoute route(std::string_view categoryIdentifier,
                                        std::string_view actionIdentifier,
                                        const std::map<std::string, std::string>& userInfo);

    bool operator==(const NotificationClickRoute&) const = default;
};

} // namespace UI

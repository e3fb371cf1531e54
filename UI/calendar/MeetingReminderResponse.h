// The user's answer to a meeting-reminder notification, parsed from what the notification centre
// delivers: the category, the action identifier and the user info. Anything that is not a reminder
// answer (another category, or no occurrence key) parses as nothing.
#pragma once

#include "UI/calendar/CalendarReminderStage.h"
#include "UI/calendar/MeetingReminderBanner.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace UI {

struct MeetingReminderResponse {
    enum class Action { open, joinAndRecord, join, snooze, recordNow };

    Action action = Action::open;
    std::string occurrenceKey;
    std::optional<CalendarReminderStage> stage;
    MeetingReminderBanner::Kind kind = MeetingReminderBanner::Kind::headsUp;
    std::optional<std::string> intentID;

    static std::optional<MeetingReminderResponse> parse(std::string_view categoryIdentifier,
                                                        std::string_view actionIdentifier,
                                                        const std::map<std::string, std::string>& userInfo);
    /// True for the reminder category and every category below it.
    static bool isCategory(std::string_view categoryIdentifier);

    bool operator==(const MeetingReminderResponse&) const = default;
};

/// "open", "joinAndRecord", "join", "snooze", "recordNow".
std::string_view rawValue(MeetingReminderResponse::Action action);
std::optional<MeetingReminderResponse::Action> meetingReminderActionFromRaw(std::string_view raw);

} // namespace UI

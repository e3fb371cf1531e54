// What the meeting overlay card says: built from the planner's overlay action (a main meeting and up to two
// extra meetings starting at the same time), the current time, the snooze target of the overlay stage, and
// the user's time zone and locale. Pure: every input is a parameter. Clock times use the locale's own
// hour-and-minute pattern (the "jmm" skeleton: "9:59 AM" in en_US, "09:59" in de_DE).
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct MeetingOverlayPresentation {
    enum class Button { joinAndRecord, joinOnly, snooze, dismiss };
    static constexpr std::array<Button, 4> allButtons = {Button::joinAndRecord, Button::joinOnly,
                                                         Button::snooze, Button::dismiss};

    struct ExtraRow {
        std::string occurrenceKey;
        std::string title;
        /// "Teams · 10:01 AM": the service and the start.
        std::string detail;
        std::string joinTitle = "Join";
        bool operator==(const ExtraRow&) const = default;
    };

    MeetingOverlayPresentation(const CalendarMeeting& main, const std::vector<CalendarMeeting>& extras,
                               Support::Date now, std::optional<Support::Date> snoozeUntil,
                               std::string_view timeZoneID, std::string_view locale);

    std::string occurrenceKey;
    std::string title;
    std::string serviceName;
    /// The start relative to now (`timeText(start, now)`).
    std::string relativeTime;
    std::string timeRangeText;
    std::vector<Button> buttons;
    std::vector<ExtraRow> extraRows;
    /// "Remind me again at 10:01 AM", only when the overlay can be snoozed.
    std::optional<std::string> snoozeLine;
    /// "Zoom meeting. Starts in 1 minute. One more meeting at the same time."
    std::string summary;

    /// "Starting now", "Starts in 2 minutes", "Started 5 minutes ago".
    static std::string timeText(Support::Date start, Support::Date now);
    /// A clock time in the locale's hour-and-minute pattern and the given time zone.
    static std::string clockTime(Support::Date date, std::string_view timeZoneID, std::string_view locale);
};

/// "joinAndRecord", "joinOnly", "snooze", "dismiss".
std::string_view rawValue(MeetingOverlayPresentation::Button button);
/// "Join & Record", "Join only", "Snooze", "Dismiss".
std::string_view title(MeetingOverlayPresentation::Button button);

} // namespace UI

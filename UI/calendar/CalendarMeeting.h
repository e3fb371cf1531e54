// One occurrence of an online calendar meeting: the value the reminders, the menu and the join flow share.
// Built only by `CalendarMeetingFilter`, so every meeting has a join link. Its identity is `occurrenceKey`
// (the calendar item id, "|", and the occurrence start in whole seconds since 1970); equality and hashing
// cover every field.
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarAttendee.h"
#include "UI/calendar/MeetingLink.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace UI {

struct CalendarMeeting {
    std::string occurrenceKey;
    std::string calendarItemID;
    std::optional<std::string> externalID;
    std::string calendarID;
    std::string title;
    Support::Date start;
    Support::Date end;
    MeetingLink link;
    std::optional<std::string> notesExcerpt;
    std::vector<CalendarAttendee> attendees;
    std::optional<CalendarAttendee> organizer;
    CalendarParticipantStatus myStatus = CalendarParticipantStatus::unknown;

    /// The title trimmed of white space and newlines, or "Untitled meeting" when that is empty.
    std::string displayTitle() const;
    /// True from `start` (inclusive) to `end` (exclusive).
    bool isInProgress(Support::Date at) const { return start <= at && at < end; }

    /// The identity of one occurrence: `calendarItemID` + "|" + the occurrence date in whole seconds.
    static std::string occurrenceKeyFor(const std::string& calendarItemID, Support::Date occurrenceDate);

    bool operator==(const CalendarMeeting&) const = default;
};

} // namespace UI

template <> struct std::hash<UI::CalendarMeeting> {
    std::size_t operator()(const UI::CalendarMeeting& meeting) const noexcept;
};

// The snapshot of one event occurrence taken from the calendar store: everything `CalendarMeetingFilter`
// needs to decide whether it is an online meeting, and nothing platform-specific.
#pragma once

#include "Support/Time.h"
#include "Support/Url.h"
#include "UI/calendar/CalendarAttendee.h"

#include <optional>
#include <string>
#include <vector>

namespace UI {

struct CalendarEventFields {
    enum class Status { none, confirmed, tentative, canceled };

    std::string calendarItemID;
    std::optional<std::string> externalID;
    std::string calendarID;
    std::string title;
    Support::Date start;
    Support::Date end;
    /// The original start of this occurrence (for a moved occurrence of a series, where it was before).
    Support::Date occurrenceDate;
    bool isAllDay = false;
    Status status = Status::none;
    std::optional<Support::Url> url;
    /// The call's own links (conference properties), as written, best first: searched after `url`.
    std::vector<std::string> conferenceURLs;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    /// The HTML form of the description, when the event carries one besides `notes`: searched for a link
    /// after the notes (invitations sometimes put the join link only in their HTML part).
    std::optional<std::string> htmlNotes;
    std::vector<CalendarAttendee> attendees;
    std::optional<CalendarAttendee> organizer;
    /// A time zone of the event that was not known (its times were read as local times), for explanations.
    std::optional<std::string> unknownTimeZone;
    /// The times lie outside what a calendar can mean (clamped by the store): the event is no meeting.
    bool timesOutOfRange = false;

    bool operator==(const CalendarEventFields&) const = default;
};

} // namespace UI

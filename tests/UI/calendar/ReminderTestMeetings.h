// Meetings for the reminder tests: a Zoom (or other) meeting by key and start, in virtual time around
// 2026-11-28 10:00 UTC.
#pragma once

#include "Support/Time.h"
#include "Support/Url.h"
#include "UI/calendar/CalendarMeeting.h"

#include <string>

namespace ReminderTest {

/// 2026-11-28T10:00:00Z.
inline const Support::Date ten = Support::dateFromUnix(1795860000);

inline Support::Date at(int hour, int minute, int second = 0) {
    return ten + Support::seconds((hour - 10) * 3600.0 + minute * 60.0 + second);
}

inline UI::CalendarMeeting meeting(const std::string& id, Support::Date start, double minutes = 30,
                                   UI::MeetingService service = UI::MeetingService::zoom) {
    const char* url = service == UI::MeetingService::zoom    ? "https://zoom.us/j/1234567890"
                      : service == UI::MeetingService::teams ? "https://teams.microsoft.com/l/meetup-join/x"
                                                             : "https://meet.google.com/abc-defg-hij";
    return UI::CalendarMeeting{.occurrenceKey = UI::CalendarMeeting::occurrenceKeyFor(id, start),
                               .calendarItemID = id,
                               .externalID = std::nullopt,
                               .calendarID = "work",
                               .title = "Meeting " + id,
                               .start = start,
                               .end = start + Support::seconds(minutes * 60),
                               .link = UI::MeetingLink{service, *Support::Url::parse(url), std::nullopt},
                               .notesExcerpt = std::nullopt,
                               .attendees = {},
                               .organizer = std::nullopt};
}

} // namespace ReminderTest

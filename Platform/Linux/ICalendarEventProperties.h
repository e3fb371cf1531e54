// The texts and people of one VEVENT component as libical holds it: SUMMARY, LOCATION, DESCRIPTION, the
// HTML description (X-ALT-DESC;FMTTYPE=text/html), URL, STATUS, ATTENDEE and ORGANIZER (PARTSTAT, CN,
// CUTYPE) and the call's own links. Used by the iCalendar files' expansion and by the Evolution Data Server
// store (whose components wrap the same libical component), so that both read an event alike.
//
// Conference links come best first: CONFERENCE for video or without FEATURE, then the vendors' properties
// (X-GOOGLE-CONFERENCE, X-MICROSOFT-SKYPETEAMSMEETINGURL), then the other CONFERENCE values (audio, chat),
// which may still hold a link. The first DESCRIPTION is the notes; the HTML description stands in (and
// `htmlNotes` is then empty) when there is none. A participant whose address is mailto: one of `userEmails`
// (lower-case) is the current user. Empty texts count as missing, except that a SUMMARY present but empty
// still gives a title ("").
#pragma once

#include "Platform/CalendarStore.h"

#include <libical/ical.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Platform {

struct ICalendarEventProperties {
    std::string uid;
    /// Nothing when there is no SUMMARY (an override then shows its series' title).
    std::optional<std::string> title;
    EventStatus status = EventStatus::none;
    std::optional<std::string> url, location, notes, htmlNotes;
    std::vector<std::string> conferenceURLs;
    std::vector<CalendarParticipant> attendees;
    std::optional<CalendarParticipant> organizer;

    static ICalendarEventProperties of(icalcomponent* event, const std::set<std::string>& userEmails);
};

} // namespace Platform

// The occurrences of a scanned calendar's events within a range, with libical: RRULE, RDATE and EXDATE
// expanded, RECURRENCE-ID overrides applied (moved and cancelled occurrences), TZID times resolved through
// the file's VTIMEZONE blocks or the zone database (every spelling ICalendarTimeZoneNames knows; an unknown
// zone is read as floating and named in `unknownTimeZone`), floating and all-day times in the user's zone,
// attendees and organizer from ATTENDEE and ORGANIZER, conference links from CONFERENCE and the vendors'
// properties. Used by the iCalendar store on the thread pool, and by tests, benchmarks and fuzzing.
//
// Two passes: the first expands the events near the range from their timing lines alone (a long-running
// series carries its whole invitation text, which would be most of libical's time); the second parses
// whole only the events whose UIDs occur. Limits keep a hostile rule from running for ever; occurrences
// whose times no calendar means are clamped and marked `timesOutOfRange`. libical's global state is used
// by one caller at a time.
#pragma once

#include "Platform/CalendarStore.h"
#include "Platform/Linux/ICalendarScanner.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Platform {

struct ICalendarExpansion {
    /// The occurrences within [start, end) (Unix seconds) of `file`'s events. `userEmails` are the user's
    /// own addresses. Throws std::runtime_error when libical cannot read the blocks.
    static std::vector<CalendarEvent> occurrences(const ICalendarScannedFile& file,
                                                  const std::string& calendarID, std::int64_t start,
                                                  std::int64_t end, const std::string& timeZoneID,
                                                  const std::vector<std::string>& userEmails);
};

} // namespace Platform

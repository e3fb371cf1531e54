// One instance of an Evolution Data Server event (the component EDS hands to
// `e_cal_client_generate_instances_sync`, with the instance's start and end) as a `CalendarEvent`, the
// record every calendar store gives. Used by `EdsCalendarStore` on its own thread.
//
// The HTML description (X-ALT-DESC;FMTTYPE=text/html) is `htmlNotes`; it stands in for the notes when there
// is no plain DESCRIPTION. A participant whose address is one of `userAddresses` (lower-case) is the current
// user. Dates without a time (all-day events) and floating times are read in `userZone`. The occurrence date
// is the instance's RECURRENCE-ID (the original start of a moved occurrence), else its start. An instance
// without a start gives nothing.
#pragma once

#include "Platform/CalendarStore.h"

#include <libical-glib/libical-glib.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace Platform {

struct EdsEventConversion {
    std::string calendarID;
    std::set<std::string> userAddresses;
    ICalTimezone* userZone = nullptr;

    std::optional<CalendarEvent> event(ICalComponent* component, ICalTime* instanceStart,
                                       ICalTime* instanceEnd) const;
    /// The component's RECURRENCE-ID in seconds since 1970 (a detached occurrence), or nothing.
    std::optional<std::int64_t> recurrenceID(ICalComponent* component) const;
};

} // namespace Platform

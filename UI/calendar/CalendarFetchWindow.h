// The span of time the calendar is read for: from one hour ago to midnight at the end of tomorrow in the
// user's time zone. Pure: `now` and the time zone are parameters.
#pragma once

#include "Support/Time.h"

#include <string>
#include <string_view>

namespace UI {

struct DateInterval {
    Support::Date start;
    Support::Date end;
    bool contains(Support::Date d) const { return start <= d && d < end; }
    bool operator==(const DateInterval&) const = default;
};

struct CalendarFetchWindow {
    static constexpr double lookBack = 3600;

    /// [now − 1 h, start of today in `timeZoneID` + 2 days). An unknown time zone gives now + 48 h as the
    /// end. The end is never before the start.
    static DateInterval interval(Support::Date now, std::string_view timeZoneID);
};

} // namespace UI

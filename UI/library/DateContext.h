// The calendar, locale and time zone that library dates are computed and shown in, as a value passed to
// every date decision so that tests pin them ("en_US", "Europe/Paris") and the app uses the user's own.
// Day and week arithmetic and pattern formatting are ICU's (`icu::Calendar`, `icu::SimpleDateFormat`).
#pragma once

#include "Support/Time.h"

#include <string>

namespace UI {

struct DateContext {
    /// ICU locale id such as "en_US"; empty: the process default.
    std::string locale;
    /// Olson time zone id such as "Europe/Paris"; empty: the system zone.
    std::string timeZone;

    /// The user's locale and zone.
    static DateContext current() { return {}; }

    /// Midnight that starts the day of `date`.
    Support::Date startOfDay(Support::Date date) const;
    /// The start of the week of `date`, by the locale's first weekday.
    Support::Date startOfWeek(Support::Date date) const;
    /// `date` moved by whole calendar days (so across a daylight-saving change a day may be 23 or 25 hours).
    Support::Date addingDays(Support::Date date, int days) const;
    /// Whole calendar days from the start of `from`'s day to the start of `to`'s day (negative when `to` is
    /// earlier).
    int wholeDaysBetween(Support::Date from, Support::Date to) const;
    int year(Support::Date date) const;
    /// `date` in an ICU pattern such as "MMM d, yyyy".
    std::string format(Support::Date date, const std::string& pattern) const;

    bool operator==(const DateContext&) const = default;
};

} // namespace UI

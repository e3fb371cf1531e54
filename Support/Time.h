// Time values shared by every layer: wall-clock dates for what a user sees (meeting starts, ledgers,
// retention) and durations for timers. Dates are UTC instants; time zones only matter when formatting.
// ISO 8601 helpers are used by the command line and JSON files: parsing accepts "Z" or a numeric offset
// and optional fractional seconds, and yields nothing for anything else.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace Support {

using Clock = std::chrono::system_clock;
using Date = std::chrono::time_point<Clock, std::chrono::microseconds>;
using Duration = std::chrono::microseconds;

/// Seconds (possibly fractional) as a Duration: `seconds(1.5)`.
constexpr Duration seconds(double value) {
    return Duration(static_cast<Duration::rep>(value * 1'000'000.0));
}
/// A Duration in seconds, as a double (Swift's TimeInterval).
constexpr double toSeconds(Duration d) {
    return static_cast<double>(d.count()) / 1'000'000.0;
}

/// The date `secs` seconds after 1970-01-01T00:00:00Z.
constexpr Date dateFromUnix(double secs) {
    return Date(seconds(secs));
}
constexpr double unixSeconds(Date d) {
    return toSeconds(d.time_since_epoch());
}

/// The real current date (only hosts and RealScheduler call this; logic takes `now` as a parameter).
Date systemNow();

/// "2026-11-22T09:45:00Z" (whole seconds) or with ".123Z" when the date has a fraction of a second.
std::string formatISO8601(Date date);
/// Parses "2026-11-22T09:45:00Z", "2026-11-22T09:45:00.5+01:00", "2026-11-22T09:45Z". Nothing on error.
std::optional<Date> parseISO8601(std::string_view text);

} // namespace Support

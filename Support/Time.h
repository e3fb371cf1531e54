// Time values shared by every layer: wall-clock dates for what a user sees (meeting starts, ledgers,
// retention) and durations for timers. Dates are UTC instants; time zones only matter when formatting.
// ISO 8601 helpers are used by the command line and JSON files: parsing accepts "Z" or a numeric offset
// and optional fractional seconds, and yields nothing for anything else.
// Seconds arrive as doubles from outside (calendar files, JSON, audio headers, tool output), so the
// conversions never overflow: `seconds` and `dateFromUnix` clamp to ±`maximumSeconds` (about 10,000
// years, far inside what a Duration holds, so sums and differences of two clamped values stay safe too)
// and read NaN as 0; `checkedSeconds` and `checkedDateFromUnix` refuse such values instead, for readers
// that would rather drop them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace Support {

using Clock = std::chrono::system_clock;
using Date = std::chrono::time_point<Clock, std::chrono::microseconds>;
using Duration = std::chrono::microseconds;

/// The longest span the conversions from seconds accept: 10,000 years of 366 days.
inline constexpr double maximumSeconds = 10'000.0 * 366 * 86'400;

/// Seconds (possibly fractional) as a Duration: `seconds(1.5)`. Clamped to ±maximumSeconds; NaN is 0.
constexpr Duration seconds(double value) {
    if (!(value >= -maximumSeconds)) { // below the range, or NaN
        return Duration(value != value ? 0 : static_cast<Duration::rep>(-maximumSeconds * 1'000'000.0));
    }
    if (value > maximumSeconds) {
        value = maximumSeconds;
    }
    return Duration(static_cast<Duration::rep>(value * 1'000'000.0));
}
/// Seconds as a Duration, or nothing for NaN, infinities and anything beyond ±maximumSeconds.
constexpr std::optional<Duration> checkedSeconds(double value) {
    if (!(value >= -maximumSeconds && value <= maximumSeconds)) {
        return std::nullopt;
    }
    return seconds(value);
}
/// A Duration in seconds, as a double (Swift's TimeInterval).
constexpr double toSeconds(Duration d) {
    return static_cast<double>(d.count()) / 1'000'000.0;
}

/// The date `secs` seconds after 1970-01-01T00:00:00Z, clamped like `seconds`.
constexpr Date dateFromUnix(double secs) {
    return Date(seconds(secs));
}
/// The date `secs` seconds after 1970-01-01T00:00:00Z, or nothing where `checkedSeconds` gives nothing.
constexpr std::optional<Date> checkedDateFromUnix(double secs) {
    if (auto d = checkedSeconds(secs)) {
        return Date(*d);
    }
    return std::nullopt;
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

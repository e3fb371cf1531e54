// The library's quick filter. The raw value is the visible label; the first three are direct buttons, the
// last three live in the overflow menu. `RecordingFilter::matches` decides membership with date bounds in
// the user's calendar:
// - "Today": started from midnight today up to (not including) midnight tomorrow;
// - "This Week": from the start of the current week (the locale's first weekday) up to a week later;
// - "Custom": from the start of the custom start day through the whole custom end day (ends given in either
//   order); with an end missing, nothing is filtered out.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/Time.h"
#include "UI/library/DateContext.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace UI {

enum class RecordingFilter : std::uint8_t { all, today, thisWeek, custom, transcribed, favorites };

inline constexpr std::array<RecordingFilter, 6> allRecordingFilters = {
    RecordingFilter::all,    RecordingFilter::today,       RecordingFilter::thisWeek,
    RecordingFilter::custom, RecordingFilter::transcribed, RecordingFilter::favorites};

/// "All", "Today", "This Week", "Custom", "Transcribed", "Favorites" (also the filter's id).
std::string_view rawValue(RecordingFilter filter);
std::optional<RecordingFilter> recordingFilterFromRawValue(std::string_view raw);
bool isInOverflowMenu(RecordingFilter filter);

/// The half-open date range a filter keeps, or nothing when the filter is not about dates (or a custom
/// range is incomplete).
struct DateBounds {
    Support::Date start;
    Support::Date end;
    bool contains(Support::Date d) const { return d >= start && d < end; }
};
std::optional<DateBounds> dateBounds(RecordingFilter filter, Support::Date now, const DateContext& context,
                                     const std::optional<Support::Date>& customStart = std::nullopt,
                                     const std::optional<Support::Date>& customEnd = std::nullopt);

/// Whether `recording` is kept by `filter`, given the bounds computed once for the whole list.
bool matches(RecordingFilter filter, const Database::DatabaseManager::Recording& recording,
             const std::optional<DateBounds>& bounds);

} // namespace UI

// The library's sort order. The raw value is the visible label (and the id). Ties are broken so that the
// order is total and stable across reloads: by duration, then newest first; by title (the locale's
// collation, ignoring case), then newest first; by date, then by id in the same direction.
#pragma once

#include "Database/DatabaseManager.h"
#include "UI/library/DateContext.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace UI {

enum class RecordingSort : std::uint8_t { newestFirst, oldestFirst, longestFirst, shortestFirst, titleAZ };

inline constexpr std::array<RecordingSort, 5> allRecordingSorts = {
    RecordingSort::newestFirst, RecordingSort::oldestFirst, RecordingSort::longestFirst,
    RecordingSort::shortestFirst, RecordingSort::titleAZ};

/// "Newest First", "Oldest First", "Longest First", "Shortest First", "Title A-Z".
std::string_view rawValue(RecordingSort sort);
std::optional<RecordingSort> recordingSortFromRawValue(std::string_view raw);

/// `recordings` in `sort` order.
void sortRecordings(std::vector<Database::DatabaseManager::Recording>& recordings, RecordingSort sort,
                    const DateContext& context = DateContext::current());

} // namespace UI

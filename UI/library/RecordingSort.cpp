#include "UI/library/RecordingSort.h"

#include "Support/EnumNames.h"

#include <unicode/coll.h>
#include <unicode/sortkey.h>

#include <algorithm>
#include <memory>
#include <numeric>

namespace UI {

constexpr Support::EnumName<RecordingSort> recordingSortNames[] = {
    {RecordingSort::newestFirst, "Newest First"},   {RecordingSort::oldestFirst, "Oldest First"},
    {RecordingSort::longestFirst, "Longest First"}, {RecordingSort::shortestFirst, "Shortest First"},
    {RecordingSort::titleAZ, "Title A-Z"},
};

std::string_view rawValue(RecordingSort sort) {
    return Support::enumName(recordingSortNames, sort);
}

std::optional<RecordingSort> recordingSortFromRawValue(std::string_view raw) {
    return Support::enumValue(recordingSortNames, raw);
}

namespace {

using Recording = Database::DatabaseManager::Recording;

bool newerFirst(const Recording& a, const Recording& b) {
    if (a.startDate != b.startDate) {
        return a.startDate > b.startDate;
    }
    return a.id > b.id;
}

/// Collation keys of the titles (secondary strength: case is ignored, accents count after letters).
std::vector<std::string> titleKeys(const std::vector<Recording>& recordings, const DateContext& context) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale =
        context.locale.empty() ? icu::Locale::getDefault() : icu::Locale(context.locale.c_str());
    std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
    std::vector<std::string> keys;
    keys.reserve(recordings.size());
    if (U_FAILURE(status) || !collator) {
        for (const auto& r : recordings) {
            keys.push_back(r.title);
        }
        return keys;
    }
    collator->setStrength(icu::Collator::SECONDARY);
    std::vector<uint8_t> buffer(256);
    for (const auto& r : recordings) {
        const auto title = icu::UnicodeString::fromUTF8(r.title);
        int32_t length = collator->getSortKey(title, buffer.data(), static_cast<int32_t>(buffer.size()));
        if (length > static_cast<int32_t>(buffer.size())) {
            buffer.resize(static_cast<std::size_t>(length));
            length = collator->getSortKey(title, buffer.data(), length);
        }
        // The key ends with a zero byte; leave it out so that keys compare as plain byte strings.
        keys.emplace_back(reinterpret_cast<const char*>(buffer.data()),
                          static_cast<std::size_t>(std::max(length - 1, 0)));
    }
    return keys;
}

} // namespace

void sortRecordings(std::vector<Recording>& recordings, RecordingSort sort, const DateContext& context) {
    switch (sort) {
    case RecordingSort::newestFirst:
        std::sort(recordings.begin(), recordings.end(), newerFirst);
        return;
    case RecordingSort::oldestFirst:
        std::sort(recordings.begin(), recordings.end(),
                  [](const Recording& a, const Recording& b) { return newerFirst(b, a); });
        return;
    case RecordingSort::longestFirst:
        std::sort(recordings.begin(), recordings.end(), [](const Recording& a, const Recording& b) {
            return a.duration != b.duration ? a.duration > b.duration : newerFirst(a, b);
        });
        return;
    case RecordingSort::shortestFirst:
        std::sort(recordings.begin(), recordings.end(), [](const Recording& a, const Recording& b) {
            return a.duration != b.duration ? a.duration < b.duration : newerFirst(a, b);
        });
        return;
    case RecordingSort::titleAZ: {
        const auto keys = titleKeys(recordings, context);
        std::vector<std::size_t> order(recordings.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
            return keys[a] != keys[b] ? keys[a] < keys[b] : newerFirst(recordings[a], recordings[b]);
        });
        std::vector<Recording> sorted;
        sorted.reserve(recordings.size());
        for (auto i : order) {
            sorted.push_back(std::move(recordings[i]));
        }
        recordings = std::move(sorted);
        return;
    }
    }
}

} // namespace UI

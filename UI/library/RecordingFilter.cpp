#include "UI/library/RecordingFilter.h"

#include "Support/EnumNames.h"

namespace UI {

constexpr Support::EnumName<RecordingFilter> recordingFilterNames[] = {
    {RecordingFilter::all, "All"},
    {RecordingFilter::today, "Today"},
    {RecordingFilter::thisWeek, "This Week"},
    {RecordingFilter::custom, "Custom"},
    {RecordingFilter::transcribed, "Transcribed"},
    {RecordingFilter::favorites, "Favorites"},
};

std::string_view rawValue(RecordingFilter filter) {
    return Support::enumName(recordingFilterNames, filter);
}

std::optional<RecordingFilter> recordingFilterFromRawValue(std::string_view raw) {
    return Support::enumValue(recordingFilterNames, raw);
}

bool isInOverflowMenu(RecordingFilter filter) {
    return filter == RecordingFilter::custom || filter == RecordingFilter::transcribed ||
           filter == RecordingFilter::favorites;
}

std::optional<DateBounds> dateBounds(RecordingFilter filter, Support::Date now, const DateContext& context,
                                     const std::optional<Support::Date>& customStart,
                                     const std::optional<Support::Date>& customEnd) {
    switch (filter) {
    case RecordingFilter::today: {
        auto start = context.startOfDay(now);
        return DateBounds{start, context.addingDays(start, 1)};
    }
    case RecordingFilter::thisWeek: {
        auto start = context.startOfWeek(now);
        return DateBounds{start, context.addingDays(start, 7)};
    }
    case RecordingFilter::custom: {
        if (!customStart || !customEnd) {
            return std::nullopt;
        }
        auto first = std::min(*customStart, *customEnd);
        auto last = std::max(*customStart, *customEnd);
        return DateBounds{context.startOfDay(first), context.addingDays(context.startOfDay(last), 1)};
    }
    default:
        return std::nullopt;
    }
}

bool matches(RecordingFilter filter, const Database::DatabaseManager::Recording& recording,
             const std::optional<DateBounds>& bounds) {
    switch (filter) {
    case RecordingFilter::all:
        return true;
    case RecordingFilter::today:
    case RecordingFilter::thisWeek:
    case RecordingFilter::custom:
        return !bounds || bounds->contains(recording.startDate);
    case RecordingFilter::transcribed:
        return recording.hasTranscript;
    case RecordingFilter::favorites:
        return recording.isFavorite;
    }
    return true;
}

} // namespace UI

// The transcript tab's pure decisions: which topic a moment belongs to, which speakers the transcript has
// (for the speaker chips), and above which segments topic dividers go. Used by the transcript reader's
// view model; safe from any thread.
#pragma once

#include "Database/DatabaseManager.h"

#include <optional>
#include <string>
#include <vector>

namespace UI {

struct TranscriptTabLogic {
    using Segment = Database::DatabaseManager::TranscriptSegment;
    using Topic = Database::DatabaseManager::StoredTopic;

    /// Among the topics that start at or before `time`, the one with the latest start (equal starts: the
    /// earlier in `topics`). Nothing for a time that is not finite or before every topic.
    static std::optional<Topic> topic(const std::vector<Topic>& topics, double time);

    /// The distinct non-empty speaker names, in ascending string order.
    static std::vector<std::string> speakers(const std::vector<Segment>& segments);

    /// One entry per segment, in segment order: the topic whose divider stands above that segment, or
    /// nothing. A divider stands above the first segment of each run of one topic.
    static std::vector<std::optional<Topic>> dividers(const std::vector<Segment>& segments,
                                                      const std::vector<Topic>& topics);
};

} // namespace UI

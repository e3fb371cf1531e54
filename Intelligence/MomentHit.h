// One place inside a recording that matched a search: a transcript passage (with the start time of its
// segment) or, from frame search, something that was on screen. Shown by the library's sidebar, grouped by
// recording; opening a hit plays the recording from `startTime`.
#pragma once

#include "Database/DatabaseManager.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Intelligence {

struct MomentHit {
    enum class Source { transcript, screen };

    Source source = Source::transcript;
    Database::RecordingId recordingId = 0;
    /// The transcript segment (transcript hits only; 0 for screen hits).
    std::int64_t segmentId = 0;
    /// Seconds from the start of the recording.
    double startTime = 0;
    /// The matched passage, as stored.
    std::string text;
    std::string speaker;
    /// Rank score, lower is better (bm25 for transcript hits).
    double score = 0;

    /// Stable identity within one result list.
    std::string id() const;
    bool operator==(const MomentHit&) const = default;
};

/// The moments of one search, best first.
struct UnifiedSearchResults {
    std::string query;
    std::vector<MomentHit> hits;

    bool isEmpty() const { return hits.empty(); }
    bool operator==(const UnifiedSearchResults&) const = default;
};

} // namespace Intelligence

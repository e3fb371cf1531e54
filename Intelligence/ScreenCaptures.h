// Ranking of a recording's captured screens: which of them are worth showing ("featured") and in what
// order. A screen's worth is how much it says: the words read from it, with near-empty screens (a desktop,
// a loading spinner) never featured. Blocking; throws what the store throws.
#pragma once

#include "Database/DatabaseManager.h"

namespace Intelligence {

struct ScreenCaptureConfiguration {
    /// How many screens of one recording are featured at most.
    int featuredCount = 6;
    /// Fewer words than this and a screen is never featured.
    int minimumWords = 4;

    static ScreenCaptureConfiguration standard() { return {}; }
};

struct ScreenCaptures {
    /// Re-ranks every capture of the recording (0 = best) and sets which are featured; labels are kept.
    static void rerank(Database::RecordingId recordingId, Database::DatabaseManager& database,
                       const ScreenCaptureConfiguration& configuration);
    /// The words of a screen's text, as the ranking counts them.
    static int wordCount(const std::string& text);
};

} // namespace Intelligence

// Turns stored transcript segments into readable, speaker-labelled lines, one per speaker turn:
// "Alice (0:05): Hi there". This is the one transcript-to-text format: "Copy All", the library's copy action
// and the command line all use it. Pure and safe from any thread; empty or token-only input gives no lines.
#pragma once

#include "Database/DatabaseManager.h"

#include <string>
#include <vector>

namespace UI {

struct TranscriptTextFormatter {
    using Segment = Database::DatabaseManager::TranscriptSegment;

    static std::vector<std::string> lines(const std::vector<Segment>& segments);

    /// "m:ss" under an hour, "h:mm:ss" from an hour; "0:00" for a time that is not finite or negative.
    static std::string timestamp(double seconds);
};

} // namespace UI

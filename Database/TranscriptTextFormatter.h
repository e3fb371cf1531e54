// Turns stored transcript segments into readable, speaker-labelled lines, one per speaker turn:
// "Alice (0:05): Hi there". This is the one transcript-to-text format: "Copy All", the library's copy action
// the command line and the MCP server all use it (so it lives with the records, below the UI). Pure and safe
// from any thread; empty or token-only input gives no lines.
#pragma once

#include "Database/DatabaseManager.h"

#include <string>
#include <vector>

namespace Database {

struct TranscriptTextFormatter {
    using Segment = DatabaseManager::TranscriptSegment;

    /// Chat-template control tokens such as "<|en|>", dropped here and by the UI's text cleaning.
    static constexpr const char* specialTokenPattern = R"(<\|[^|]*\|>)";

    static std::vector<std::string> lines(const std::vector<Segment>& segments);

    /// "m:ss" under an hour, "h:mm:ss" from an hour; "0:00" for a time that is not finite or negative.
    static std::string timestamp(double seconds);
};

} // namespace Database

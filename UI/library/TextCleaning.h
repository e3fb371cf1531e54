// The rules that clean speech-recognition text and language-model answers (titles and action items).
// Used by the transcript reader, the library's copy actions and the AI job runner after each generation.
// Every function is pure and never fails: the worst outcome is an empty string or no result. Regular
// expressions are compiled once, on first use.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

/// Text with styles, for showing model markdown.
struct AttributedString {
    enum Style : unsigned { plain = 0, bold = 1, italic = 2, code = 4, heading = 8, listItem = 16 };
    struct Run {
        std::size_t start = 0; ///< byte offset in `text`
        std::size_t length = 0;
        unsigned styles = plain;
        bool operator==(const Run&) const = default;
    };
    std::string text;
    std::vector<Run> runs;
    bool operator==(const AttributedString&) const = default;
};

namespace TextCleaning {

/// Compared against the lower-cased title candidate.
extern const std::set<std::string> rejectedTitleValues;
/// Compared with the lower-cased title candidate by prefix.
extern const std::vector<std::string> rejectedTitlePrefixes;
extern const std::vector<std::string> titleRejectionPatterns;
extern const std::vector<std::string> titleLabelPatterns;
extern const std::vector<std::string> noActionItemsPatterns;
extern const std::vector<std::string> actionItemMetaPatterns;

std::string cleanWhisperTokens(std::string_view text);
std::string sanitizeModelResponse(std::string_view text);
std::string normalizeTitleCandidate(std::string_view line);
bool isValidTitleCandidate(std::string_view text);
std::optional<std::string> cleanTitleResponse(std::string_view response);
std::optional<std::string> normalizeActionItemCandidate(std::string_view line);
std::optional<std::string> cleanActionItemsResponse(std::string_view response);

/// Renders model markdown for display: "#" headings, "-", "*" and numbered list items (marker kept as
/// "• " or the number), **bold** / __bold__, *italic* / _italic_, `code`. Markup that does not close is
/// shown as typed. Paragraph breaks are kept as line ends.
AttributedString markdownAttributedString(std::string_view markdown);

} // namespace TextCleaning
} // namespace UI

// Splits a model's Markdown answer into display blocks (paragraphs, headings, list items, dividers), line by
// line, and renders one block's text as styled runs (bold, italic, code). Pure; any input gives blocks,
// never an error, and invalid UTF-8 is kept as it is.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct MarkdownBlock {
    enum class Kind { paragraph, heading, listItem, divider };
    Kind kind = Kind::paragraph;
    std::string text{};
    /// Headings: 1 to 6.
    std::optional<int> level{};
    /// List items: the indentation width (a blank counts 1, a tab moves to the next multiple of 4).
    std::optional<int> indent{};
    /// Ordered list items: the item's number.
    std::optional<long long> number{};
    bool operator==(const MarkdownBlock&) const = default;
};

/// A piece of inline text with its styles (`AttributedString::Style` bits of the library's text cleaning).
struct StyledRun {
    std::string text{};
    unsigned styles = 0;
    bool operator==(const StyledRun&) const = default;
};

struct MarkdownBlockParser {
    static std::vector<MarkdownBlock> parse(std::string_view text);
    /// The inline Markdown of one block as styled runs; markup that does not close stays plain text.
    static std::vector<StyledRun> inlineRuns(std::string_view text);
    static std::string_view kindName(MarkdownBlock::Kind kind);
};

} // namespace UI

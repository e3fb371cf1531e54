#include "UI/ai/MarkdownBlockParser.h"

#include "Support/Text.h"
#include "UI/library/TextCleaning.h"

#include <algorithm>

namespace UI {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view trimBlanks(std::string_view s) {
    while (!s.empty() && (isBlank(s.front()) || s.front() == '\r')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (isBlank(s.back()) || s.back() == '\r')) {
        s.remove_suffix(1);
    }
    return s;
}

bool isDivider(std::string_view line) {
    char first = 0;
    size_t count = 0;
    for (char c : line) {
        if (isBlank(c) || c == '\r') {
            continue;
        }
        if (count == 0) {
            if (c != '-' && c != '*' && c != '_') {
                return false;
            }
            first = c;
        } else if (c != first) {
            return false;
        }
        ++count;
    }
    return count >= 3;
}

std::optional<MarkdownBlock> heading(std::string_view line) {
    auto rest = trimBlanks(line);
    size_t hashes = 0;
    while (hashes < rest.size() && rest[hashes] == '#') {
        ++hashes;
    }
    if (hashes < 1 || hashes > 6 || (hashes < rest.size() && !isBlank(rest[hashes]))) {
        return std::nullopt;
    }
    auto text = trimBlanks(rest.substr(hashes));
    while (!text.empty() && text.back() == '#') {
        text.remove_suffix(1);
    }
    text = trimBlanks(text);
    return MarkdownBlock{MarkdownBlock::Kind::heading, std::string(text), static_cast<int>(hashes),
                         std::nullopt, std::nullopt};
}

std::optional<MarkdownBlock> listItem(std::string_view line) {
    int indent = 0;
    size_t i = 0;
    for (; i < line.size() && isBlank(line[i]); ++i) {
        indent = line[i] == '\t' ? (indent / 4 + 1) * 4 : indent + 1;
    }
    auto rest = line.substr(i);
    if (rest.size() >= 2 && (rest[0] == '-' || rest[0] == '*' || rest[0] == '+') && rest[1] == ' ') {
        return MarkdownBlock{MarkdownBlock::Kind::listItem, std::string(trimBlanks(rest.substr(2))),
                             std::nullopt, indent, std::nullopt};
    }
    size_t digits = 0;
    while (digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9') {
        ++digits;
    }
    if (digits >= 1 && digits <= 9 && digits + 1 < rest.size() && rest[digits] == '.' &&
        isBlank(rest[digits + 1])) {
        const long long number = std::stoll(std::string(rest.substr(0, digits)));
        return MarkdownBlock{MarkdownBlock::Kind::listItem, std::string(trimBlanks(rest.substr(digits + 2))),
                             std::nullopt, indent, number};
    }
    return std::nullopt;
}

} // namespace

std::vector<MarkdownBlock> MarkdownBlockParser::parse(std::string_view text) {
    std::vector<MarkdownBlock> blocks;
    bool open = false;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        const auto line = text.substr(start, end - start);
        start = end + 1;
        const auto trimmed = trimBlanks(line);
        if (trimmed.empty()) {
            open = false;
        } else if (isDivider(line)) {
            blocks.push_back({MarkdownBlock::Kind::divider, "", std::nullopt, std::nullopt, std::nullopt});
            open = false;
        } else if (auto h = heading(line)) {
            blocks.push_back(std::move(*h));
            open = false;
        } else if (auto item = listItem(line)) {
            blocks.push_back(std::move(*item));
            open = true;
        } else if (open) {
            auto& current = blocks.back().text;
            if (!current.empty()) {
                current += ' ';
            }
            current.append(trimmed);
        } else {
            blocks.push_back({MarkdownBlock::Kind::paragraph, std::string(trimmed), std::nullopt,
                              std::nullopt, std::nullopt});
            open = true;
        }
        if (end == text.size()) {
            break;
        }
    }
    return blocks;
}

std::vector<StyledRun> MarkdownBlockParser::inlineRuns(std::string_view text) {
    const auto attributed = TextCleaning::markdownAttributedString(text);
    std::vector<StyledRun> runs;
    size_t covered = 0;
    auto add = [&](size_t from, size_t length, unsigned styles) {
        if (length == 0 || from >= attributed.text.size()) {
            return;
        }
        auto piece = attributed.text.substr(from, length);
        if (!runs.empty() && runs.back().styles == styles) {
            runs.back().text += piece;
        } else {
            runs.push_back({std::move(piece), styles});
        }
    };
    for (const auto& run : attributed.runs) {
        if (run.start > covered) {
            add(covered, run.start - covered, AttributedString::plain);
        }
        if (run.start + run.length > covered) {
            const size_t from = std::max(run.start, covered);
            add(from, run.start + run.length - from, run.styles);
            covered = run.start + run.length;
        }
    }
    if (covered < attributed.text.size()) {
        add(covered, attributed.text.size() - covered, AttributedString::plain);
    }
    return runs;
}

std::string_view MarkdownBlockParser::kindName(MarkdownBlock::Kind kind) {
    switch (kind) {
    case MarkdownBlock::Kind::paragraph:
        return "paragraph";
    case MarkdownBlock::Kind::heading:
        return "heading";
    case MarkdownBlock::Kind::listItem:
        return "listItem";
    case MarkdownBlock::Kind::divider:
        return "divider";
    }
    return "paragraph";
}

} // namespace UI

#include "UI/library/TextCleaning.h"

#include "Database/TranscriptTextFormatter.h"

#include "Intelligence/ResponseProcessor.h"
#include "Intelligence/TranscriptAgent.h"
#include "Support/Regex.h"
#include "Support/Text.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace UI::TextCleaning {

using Support::Regex;
namespace Text = Support::Text;

const std::set<std::string> rejectedTitleValues = {
    "meeting summary", "summary",     "meeting",     "title", "untitled", "no title", "n/a", "none",
    "meeting title",   "end of turn", "end_of_turn",
};

const std::vector<std::string> rejectedTitlePrefixes = {
    "please provide", "here are",     "here is",  "here's",        "okay",     "ok,",   "ok.",
    "i need",         "i don't have", "i cannot", "i can't",       "based on", "sure,", "sure!",
    "sure.",          "of course",    "let me",   "unfortunately",
};

const std::vector<std::string> titleRejectionPatterns = {
    R"((?i)^this\s+meeting\s+.*)",
    R"((?i)^the\s+meeting\s+.*)",
    R"((?i)^i\s+(?:recommend|suggest|propose)\s+.*)",
    R"((?i)^ok(?:ay)?[,.! ]+\b.*)",
    R"((?i)^please\b.*)",
    R"((?i)^can\s+you\b.*)",
    R"((?i)^could\s+you\b.*)",
    R"((?i)^i['’]?m\b.*)",
    R"((?i)^thanks[!.]?$)",
    R"((?i)^thank\s+you[!.]?$)",
};

const std::vector<std::string> titleLabelPatterns = {
    R"((?i)^\s*(?:title|meeting\s+title|suggested\s+title|candidate\s*title|option\s*\d+|candidate\s*\d+)\s*[:\-]\**\s*)",
    R"((?i)^\s*(?:here(?:\s+is|'s)?\s+(?:a\s+)?)?(?:concise\s+)?(?:possible\s+|suggested\s+)?title\s*[:\-]\**\s*)",
};

const std::vector<std::string> noActionItemsPatterns = {
    R"((?i)no\s+(clear\s+)?action\s+items)",
    R"((?i)no\s+action\s+items?\s+(were\s+)?found)",
    R"((?i)there\s+are\s+no\s+(clear\s+)?action\s+items)",
    R"((?i)i\s+(could\s+not|couldn't)\s+find\s+any\s+action\s+items)",
    R"((?i)no\s+specific\s+action\s+items)",
};

const std::vector<std::string> actionItemMetaPatterns = {
    R"((?i)^action\s+items\s*:?\s*$)",
    R"((?i)^here(?:\s+are|'s)\s+(?:the\s+)?(?:clear\s+|extracted\s+)?action\s+items.*$)",
    R"((?i)^sure[!.]?,?\s*(?:here(?:\s+are|'s).*)?$)",
    R"((?i)^based\s+on\s+.*(?:meeting|summary).*$)",
    R"((?i)^i\s+(?:found|identified|extracted|noted)\b.*$)",
    R"((?i)^you['’]?re\s+asking\s+for\b.*$)",
    R"((?i)^here(?:'s|\s+is)\s+what\s+we\s+need\s+to\s+do\b.*$)",
    R"((?i)^what\s+we\s+need\s+to\s+do\b.*$)",
    R"((?i)^why\s+this\s+is\s+difficult\b.*$)",
    R"((?i)^i['’]?(?:m| am)\s+ready\s+to\s+help\b.*$)",
    R"((?i)^please\s+provide\b.*$)",
    R"((?i)^you\s+need\s+to\s+(?:provide|share|give|upload|paste|send\s+(?:me|us|the\s+(?:full\s+)?(?:meeting\s+)?transcript))\b.*$)",
    R"((?i)^i\s+need\s+(?:more\s+information|the\s+full\s+meeting\s+transcript|the\s+meeting\s+transcript|the\s+full\s+transcript|the\s+transcript|to\s+follow).*$)",
    R"((?i)^let(?:'s|\s+us)\s+do\s+this\b.*$)",
    R"((?i)^let\s+me\s+know\b.*$)",
    R"((?i)^do\s+you\s+want\s+me\s+to\b.*$)",
    R"((?i)^multiple\s+speakers\b.*$)",
    R"((?i)^human\s+interpretation\b.*$)",
    R"((?i)^ambiguity\b.*$)",
};

namespace {

/// Compiles each pattern; one that does not compile is left out (its step then does nothing).
std::vector<Regex> compileAll(const std::vector<std::string>& patterns) {
    std::vector<Regex> out;
    for (const auto& p : patterns) {
        try {
            out.emplace_back(p);
        } catch (const std::invalid_argument&) {
        }
    }
    return out;
}

/// One expression, or nothing when it does not compile.
std::unique_ptr<Regex> compileOptional(const std::string& pattern, unsigned options = Regex::none) {
    try {
        return std::make_unique<Regex>(pattern, options);
    } catch (const std::invalid_argument&) {
        return nullptr;
    }
}

std::string removeAll(const std::unique_ptr<Regex>& regex, std::string_view text) {
    return regex ? regex->replaceAll(text, "") : std::string(text);
}

const std::unique_ptr<Regex>& pattern(const char* source) {
    // The few fixed patterns used by the cleaning steps, each compiled once.
    static std::mutex mutex;
    static std::map<std::string_view, std::unique_ptr<Regex>> cache;
    std::lock_guard lock(mutex);
    auto it = cache.find(source);
    if (it == cache.end()) {
        it = cache.emplace(source, compileOptional(source)).first;
    }
    return it->second;
}

bool anyMatches(const std::vector<Regex>& regexes, std::string_view text) {
    return std::any_of(regexes.begin(), regexes.end(), [&](const Regex& r) { return r.matches(text); });
}

/// `text` without the code points of `set` at both ends.
std::string trimmingCharacters(std::string_view text, std::u32string_view set) {
    auto inSet = [&](char32_t c) { return set.find(c) != std::u32string_view::npos; };
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t pos = start;
        if (!inSet(Text::decodeNext(text, pos))) {
            break;
        }
        start = pos;
    }
    std::size_t end = text.size();
    while (end > start) {
        // Step back to the start of the last code point.
        std::size_t back = end - 1;
        while (back > start && (static_cast<unsigned char>(text[back]) & 0xC0) == 0x80 && end - back < 4) {
            --back;
        }
        std::size_t pos = back;
        char32_t c = Text::decodeNext(text, pos);
        if (pos != end || !inSet(c)) {
            break;
        }
        end = back;
    }
    return std::string(text.substr(start, end - start));
}

std::size_t wordCount(std::string_view text) {
    std::size_t count = 0;
    for (const auto& piece : Text::split(text, ' ')) {
        count += !piece.empty();
    }
    return count;
}

bool containsNewline(std::string_view text) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        if (Text::isNewline(Text::decodeNext(text, pos))) {
            return true;
        }
    }
    return false;
}

const char* const bulletPattern = R"(^\s*(?:[-*•◦]\s+|\d+[.)]\s+|>\s*))";
const char* const whitespaceRunPattern = R"(\s+)";

std::string collapseWhitespace(std::string_view text) {
    const auto& regex = pattern(whitespaceRunPattern);
    return regex ? regex->replaceAll(text, " ") : std::string(text);
}

} // namespace

std::string cleanWhisperTokens(std::string_view text) {
    std::string out = removeAll(pattern(Database::TranscriptTextFormatter::specialTokenPattern), text);
    out = Text::replacingAll(out, "[BLANK_AUDIO]", "");
    while (out.find("  ") != std::string::npos) {
        out = Text::replacingAll(out, "  ", " ");
    }
    return Text::trimmed(out);
}

std::string sanitizeModelResponse(std::string_view text) {
    static const auto thinkBlock = compileOptional(R"(<think>[\s\S]*?</think>)", Regex::caseInsensitive);
    std::string out = Intelligence::ResponseProcessor::stripThinkingPatterns(text);
    out = removeAll(thinkBlock, out);
    out = Intelligence::ResponseProcessor::stripSpecialTokens(out);
    out = removeAll(pattern(R"((?i)\bend(?:_|\s)+of(?:_|\s)+turn\b)"), out);
    out = Text::replacingAll(out, "\r\n", "\n");
    out = Text::replacingAll(out, "\r", "\n");
    return Text::trimmed(out);
}

std::string normalizeTitleCandidate(std::string_view line) {
    static const auto labels = compileAll(titleLabelPatterns);
    std::string t = Text::trimmed(line);
    if (t.empty()) {
        return "";
    }
    t = removeAll(pattern(R"(^\s{0,3}#{1,6}\s*)"), t);
    t = removeAll(pattern(bulletPattern), t);
    for (const auto& label : labels) {
        t = label.replaceAll(t, "");
    }
    t = trimmingCharacters(t, U"\"'`\u201C\u201D");
    t = removeAll(pattern(R"(^(\*+|_{2,})\s*)"), t);
    t = removeAll(pattern(R"(\s*(\*\*|__)$)"), t);
    t = collapseWhitespace(t);
    t = trimmingCharacters(Text::trimmed(t), U".,;:");
    if (t.empty()) {
        return t;
    }
    const std::string lower = Text::lowercased(t);
    for (std::string_view lead : {"here is", "here's", "based on", "suggested title"}) {
        if (Text::startsWith(lower, lead)) {
            auto colon = t.find(':');
            if (colon != std::string::npos) {
                auto rest = trimmingCharacters(std::string_view(t).substr(colon + 1), U" \"'`");
                if (!rest.empty()) {
                    return rest;
                }
            }
            break;
        }
    }
    return t;
}

bool isValidTitleCandidate(std::string_view text) {
    static const auto rejections = compileAll(titleRejectionPatterns);
    const std::string t = Text::trimmed(text);
    if (t.empty()) {
        return false;
    }
    const auto length = Text::graphemeCount(t);
    if (length < 3 || length > 100) {
        return false;
    }
    const auto words = wordCount(t);
    if (words < 2 || words > 8) {
        return false;
    }
    if (containsNewline(t) || t.find_first_of("?!:") != std::string::npos) {
        return false;
    }
    const std::string lower = Text::lowercased(t);
    if (rejectedTitleValues.count(lower) || lower.find("end of turn") != std::string::npos ||
        lower.find("end_of_turn") != std::string::npos) {
        return false;
    }
    for (const auto& prefix : rejectedTitlePrefixes) {
        if (Text::startsWith(lower, prefix)) {
            return false;
        }
    }
    return !anyMatches(rejections, t);
}

std::optional<std::string> cleanTitleResponse(std::string_view response) {
    const std::string sanitized = sanitizeModelResponse(response);
    std::vector<std::string> candidates;
    for (const auto& line : Text::split(sanitized, '\n')) {
        auto candidate = normalizeTitleCandidate(line);
        if (!candidate.empty()) {
            candidates.push_back(std::move(candidate));
        }
    }
    if (candidates.empty()) {
        auto whole = normalizeTitleCandidate(Text::replacingAll(sanitized, "\n", " "));
        if (!whole.empty()) {
            candidates.push_back(std::move(whole));
        }
    }
    std::set<std::string> seen;
    for (const auto& candidate : candidates) {
        if (!seen.insert(Text::lowercased(candidate)).second) {
            continue;
        }
        if (isValidTitleCandidate(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::optional<std::string> normalizeActionItemCandidate(std::string_view line) {
    static const auto metas = compileAll(actionItemMetaPatterns);
    std::string t = Text::trimmed(line);
    if (t.empty()) {
        return std::nullopt;
    }
    t = removeAll(pattern(bulletPattern), t);
    t = removeAll(pattern(R"((?i)^\s*(?:action\s+item|task|todo)\s*:\s*)"), t);
    t = Text::replacingAll(t, "**", "");
    t = Text::replacingAll(t, "__", "");
    t = removeAll(pattern(R"(^["'`]+)"), t);
    t = removeAll(pattern(R"(["'`]+$)"), t);
    t = collapseWhitespace(t);
    t = trimmingCharacters(Text::trimmed(t), U"-:;,.");
    if (t.empty()) {
        return std::nullopt;
    }
    const std::string lower = Text::lowercased(t);
    for (std::string_view chatter :
         {"provide the meeting transcript", "provide the full transcript", "what constitutes an action item",
          "need more information", "let's do this"}) {
        if (lower.find(chatter) != std::string::npos) {
            return std::nullopt;
        }
    }
    if (anyMatches(metas, t)) {
        return std::nullopt;
    }
    static const std::string leftOut =
        Text::lowercased(Text::trimmed(Intelligence::TranscriptAgent::leftOutPrefix));
    if ((!leftOut.empty() && Text::startsWith(lower, leftOut)) || Text::endsWith(t, "?") ||
        wordCount(t) <= 1) {
        return std::nullopt;
    }
    return t;
}

std::optional<std::string> cleanActionItemsResponse(std::string_view response) {
    static const auto none = compileAll(noActionItemsPatterns);
    std::string text = sanitizeModelResponse(response);
    text = Text::replacingAll(text, "[]", "");
    text = Text::replacingAll(text, "```", "");
    if (anyMatches(none, text)) {
        return std::nullopt;
    }
    std::vector<std::string> items;
    std::set<std::string> seen;
    for (const auto& line : Text::split(text, '\n')) {
        if (auto item = normalizeActionItemCandidate(line)) {
            if (seen.insert(Text::lowercased(*item)).second) {
                items.push_back("- " + *item);
            }
        }
    }
    if (items.empty()) {
        return std::nullopt;
    }
    return Text::joined(items, "\n");
}

// MARK: Markdown

namespace {

class InlineParser {
public:
    explicit InlineParser(AttributedString& out) : out_(out) {}

    void parse(std::string_view s, unsigned styles) {
        std::size_t plainStart = 0;
        std::size_t i = 0;
        while (i < s.size()) {
            const char c = s[i];
            if (c == '`') {
                auto close = s.find('`', i + 1);
                if (close != std::string_view::npos && close > i + 1) {
                    append(s.substr(plainStart, i - plainStart), styles);
                    append(s.substr(i + 1, close - i - 1), styles | AttributedString::code);
                    i = plainStart = close + 1;
                    continue;
                }
            } else if ((c == '*' || c == '_') && depth_ < 8) {
                const bool isDouble = i + 1 < s.size() && s[i + 1] == c;
                const std::string_view marker = isDouble ? s.substr(i, 2) : s.substr(i, 1);
                const bool wordInside =
                    c == '_' && i > 0 && std::isalnum(static_cast<unsigned char>(s[i - 1]));
                auto close = s.find(marker, i + marker.size());
                if (!wordInside && close != std::string_view::npos && close > i + marker.size()) {
                    append(s.substr(plainStart, i - plainStart), styles);
                    ++depth_;
                    parse(s.substr(i + marker.size(), close - i - marker.size()),
                          styles | (isDouble ? AttributedString::bold : AttributedString::italic));
                    --depth_;
                    i = plainStart = close + marker.size();
                    continue;
                }
                i += marker.size();
                continue;
            }
            ++i;
        }
        append(s.substr(plainStart), styles);
    }

    void append(std::string_view piece, unsigned styles) {
        if (piece.empty()) {
            return;
        }
        if (!out_.runs.empty() && out_.runs.back().styles == styles &&
            out_.runs.back().start + out_.runs.back().length == out_.text.size()) {
            out_.runs.back().length += piece.size();
        } else {
            out_.runs.push_back({out_.text.size(), piece.size(), styles});
        }
        out_.text.append(piece);
    }

private:
    AttributedString& out_;
    int depth_ = 0;
};

} // namespace

AttributedString markdownAttributedString(std::string_view markdown) {
    static const Regex heading(R"(^\s{0,3}(#{1,6})\s+)");
    static const Regex bullet(R"(^\s*[-*+]\s+)");
    static const Regex numbered(R"(^\s*(\d{1,9})[.)]\s+)");
    AttributedString out;
    InlineParser parser(out);
    bool first = true;
    for (const auto& rawLine : Text::lines(markdown)) {
        if (!first) {
            parser.append("\n", AttributedString::plain);
        }
        first = false;
        std::string_view line = rawLine;
        unsigned styles = AttributedString::plain;
        if (auto m = heading.firstMatch(line)) {
            styles |= AttributedString::heading;
            line.remove_prefix(m->end());
        } else if (auto b = bullet.firstMatch(line)) {
            styles |= AttributedString::listItem;
            parser.append("• ", styles);
            line.remove_prefix(b->end());
        } else if (auto n = numbered.firstMatch(line)) {
            styles |= AttributedString::listItem;
            parser.append(std::string(n->str(1)) + ". ", styles);
            line.remove_prefix(n->end());
        }
        parser.parse(line, styles);
    }
    return out;
}

} // namespace UI::TextCleaning

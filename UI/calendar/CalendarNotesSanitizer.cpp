#include "UI/calendar/CalendarNotesSanitizer.h"

#include "Support/Regex.h"
#include "Support/Text.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace UI {

namespace {

using Support::Text::decodeNext;

bool isAsciiAlpha(unsigned char c) {
    return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
}
bool isAsciiDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}
bool isSchemeChar(unsigned char c) {
    return isAsciiAlpha(c) || isAsciiDigit(c) || c == '+' || c == '.' || c == '-';
}
bool isHostLabelChar(unsigned char c) {
    return isAsciiAlpha(c) || isAsciiDigit(c) || c == '-';
}

/// The code point at `i` and its byte length (an ill-formed byte is U+FFFD of length 1).
char32_t codePointAt(std::string_view s, std::size_t i, std::size_t& length) {
    auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
        length = 1;
        return c;
    }
    std::size_t pos = i;
    char32_t cp = decodeNext(s, pos);
    length = pos - i;
    return cp;
}

/// PCRE2's \s under Unicode properties.
bool isSpaceAt(std::string_view s, std::size_t i, std::size_t& length) {
    auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
        length = 1;
        return c == ' ' || (c >= '\t' && c <= '\r');
    }
    return Support::Text::isWhitespace(codePointAt(s, i, length));
}

/// The end of the run of non-space characters that starts at `i` (PCRE2's \S*).
std::size_t endOfNonSpace(std::string_view s, std::size_t i) {
    while (i < s.size()) {
        std::size_t length = 1;
        if (isSpaceAt(s, i, length)) {
            break;
        }
        i += length;
    }
    return i;
}

/// PCRE2's \w under Unicode properties (letters, digits, underscore).
bool isWordAt(std::string_view s, std::size_t i) {
    if (i >= s.size()) {
        return false;
    }
    auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
        return isAsciiAlpha(c) || isAsciiDigit(c) || c == '_';
    }
    std::size_t length = 1;
    char32_t cp = codePointAt(s, i, length);
    return cp != 0xFFFD && (u_isalpha(static_cast<UChar32>(cp)) || u_isdigit(static_cast<UChar32>(cp)) ||
                            u_charType(static_cast<UChar32>(cp)) == U_NON_SPACING_MARK);
}

/// Whether the character before byte `i` is a word character (the start of that character is found by
/// stepping back over continuation bytes).
bool isWordBefore(std::string_view s, std::size_t i) {
    if (i == 0) {
        return false;
    }
    std::size_t start = i - 1;
    while (start > 0 && i - start < 4 && (static_cast<unsigned char>(s[start]) & 0xC0) == 0x80) {
        --start;
    }
    return isWordAt(s, start);
}

bool startsWithIgnoringCase(std::string_view s, std::size_t i, std::string_view prefix) {
    return s.size() - i >= prefix.size() &&
           Support::Text::equalsIgnoringASCIICase(s.substr(i, prefix.size()), prefix);
}

/// Removes every "<...>" tag (a '<', at least one character that is not '>', then '>'), in one pass.
std::string withoutTags(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        auto open = s.find('<', i);
        if (open == std::string_view::npos) {
            break;
        }
        auto close = s.find('>', open + 1);
        if (close == std::string_view::npos) {
            break; // no later '<' can close either
        }
        if (close == open + 1) {
            out.append(s.substr(i, close - i));
            i = close;
            continue;
        }
        out.append(s.substr(i, open - i));
        i = close + 1;
    }
    out.append(s.substr(std::min(i, s.size())));
    return out;
}

/// Removes "scheme://" followed by non-space characters (the scheme a letter then letters, digits, "+.-").
std::string withoutSchemeURLs(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    std::size_t copied = 0;
    std::size_t i = 0;
    while (i < s.size()) {
        if (!isSchemeChar(static_cast<unsigned char>(s[i]))) {
            ++i;
            continue;
        }
        std::size_t runEnd = i;
        while (runEnd < s.size() && isSchemeChar(static_cast<unsigned char>(s[runEnd]))) {
            ++runEnd;
        }
        std::size_t afterSeparator = runEnd + 3;
        bool separator = s.substr(runEnd, 3) == "://";
        std::size_t start = i;
        while (start < runEnd && !isAsciiAlpha(static_cast<unsigned char>(s[start]))) {
            ++start;
        }
        std::size_t spaceLength = 0;
        if (separator && start < runEnd && afterSeparator < s.size() &&
            !isSpaceAt(s, afterSeparator, spaceLength)) {
            out.append(s.substr(copied, start - copied));
            copied = endOfNonSpace(s, afterSeparator);
            i = copied;
            continue;
        }
        i = runEnd;
    }
    out.append(s.substr(copied));
    return out;
}

/// Whether `s` holds `needle` in any ASCII case.
bool containsIgnoringCase(std::string_view s, std::string_view needle) {
    for (std::size_t i = 0; i + needle.size() <= s.size(); ++i) {
        if (((s[i] ^ needle[0]) & ~0x20) == 0 &&
            Support::Text::equalsIgnoringASCIICase(s.substr(i, needle.size()), needle)) {
            return true;
        }
    }
    return false;
}

/// Removes scheme-less web links: at a word boundary "www.", the Meet host and "/", or one subdomain label
/// of Zoom's domain and "/", then non-space characters.
std::string withoutBareHosts(std::string_view s) {
    static const std::string meetPrefix = std::string(MeetingLinkExtractor::meetHost) + "/";
    static const std::string zoomSuffix = "." + std::string(MeetingLinkExtractor::zoomDomain) + "/";
    // Most notes hold none of the three; the scan below looks at word boundaries, which costs more.
    if (!containsIgnoringCase(s, "www.") && !containsIgnoringCase(s, meetPrefix) &&
        !containsIgnoringCase(s, zoomSuffix)) {
        return std::string(s);
    }
    std::string out;
    out.reserve(s.size());
    std::size_t copied = 0;
    std::size_t runStart = std::string_view::npos;
    std::size_t runEnd = 0;
    std::size_t i = 0;
    while (i < s.size()) {
        auto c = static_cast<unsigned char>(s[i]);
        bool boundary = isWordAt(s, i) != isWordBefore(s, i);
        if (boundary) {
            bool match = startsWithIgnoringCase(s, i, "www.") || startsWithIgnoringCase(s, i, meetPrefix);
            if (!match && isHostLabelChar(c)) {
                if (runStart == std::string_view::npos || i >= runEnd) {
                    runStart = i;
                    runEnd = i;
                    while (runEnd < s.size() && isHostLabelChar(static_cast<unsigned char>(s[runEnd]))) {
                        ++runEnd;
                    }
                }
                match = startsWithIgnoringCase(s, runEnd, zoomSuffix);
            }
            if (match) {
                out.append(s.substr(copied, i - copied));
                copied = endOfNonSpace(s, i);
                i = copied;
                runStart = std::string_view::npos;
                continue;
            }
        }
        std::size_t length = 1;
        if (c >= 0x80) {
            codePointAt(s, i, length);
        }
        i += length;
    }
    out.append(s.substr(copied));
    return out;
}

constexpr std::array<std::string_view, 35> boilerplatePhrases = {
    "passcode",
    "password",
    "pwd",
    "meeting id",
    "meeting-id",
    "conference id",
    "pin:",
    " pin ",
    "dial-in",
    "dial in",
    "dial by your location",
    "one tap mobile",
    "tap to join",
    "join by phone",
    "join with",
    "join zoom meeting",
    "join the meeting",
    "join meeting",
    "join on your computer",
    "join with google meet",
    "click here to join",
    "microsoft teams meeting",
    "microsoft teams need help",
    "need help?",
    "meeting options",
    "find your local number",
    "for organizers",
    "sip:",
    "h.323",
    "webinar id",
    "access code",
    "phone conference",
    "more phone numbers",
    "learn more about meet",
    "is inviting you to",
};

/// The phrases, and for each first byte the phrases that start with it (so that a line is scanned once
/// rather than once per phrase).
struct Phrases {
    std::vector<std::string> all;
    std::array<std::vector<std::uint8_t>, 256> byFirstByte;
};

const Phrases& phrases() {
    static const Phrases indexed = [] {
        Phrases p;
        auto& out = p.all;
        out.assign(boilerplatePhrases.begin(), boilerplatePhrases.end());
        out.emplace_back(MeetingLinkExtractor::zoomDomain);
        out.emplace_back(MeetingLinkExtractor::teamsWorkHost);
        out.emplace_back(MeetingLinkExtractor::teamsHomeHost);
        out.emplace_back(MeetingLinkExtractor::meetHost);
        out.emplace_back(MeetingLinkExtractor::safeLinksDomain);
        out.emplace_back(std::string(MeetingLinkExtractor::shortLinkHost) + "/");
        for (std::size_t i = 0; i < out.size(); ++i) {
            p.byFirstByte[static_cast<unsigned char>(out[i][0])].push_back(static_cast<std::uint8_t>(i));
        }
        return p;
    }();
    return indexed;
}

bool isRuleLine(std::string_view line) {
    std::size_t count = 0;
    std::size_t i = 0;
    while (i < line.size()) {
        char32_t c = decodeNext(line, i);
        if (c != '_' && c != '-' && c != '=' && c != U'\u2500' && c != U'\u2014' && c != '~' && c != '*') {
            return false;
        }
        ++count;
    }
    return count >= 10;
}

bool isBoilerplate(std::string_view line) {
    std::string padded = " ";
    bool ascii =
        std::all_of(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
        padded.reserve(line.size() + 2);
        for (char c : line) {
            padded.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c);
        }
    } else {
        padded += Support::Text::lowercased(line);
    }
    padded.push_back(' ');
    const auto& p = phrases();
    std::string_view text(padded);
    for (std::size_t i = 0; i < text.size(); ++i) {
        for (auto index : p.byFirstByte[static_cast<unsigned char>(text[i])]) {
            if (text.substr(i, p.all[index].size()) == p.all[index]) {
                return true;
            }
        }
    }
    return false;
}

bool isMostlyNumeric(std::string_view line) {
    std::size_t digits = 0;
    std::size_t letters = 0;
    std::size_t i = 0;
    while (i < line.size()) {
        auto c = static_cast<unsigned char>(line[i]);
        if (c < 0x80) {
            digits += isAsciiDigit(c) ? 1 : 0;
            letters += isAsciiAlpha(c) ? 1 : 0;
            ++i;
            continue;
        }
        auto cp = static_cast<UChar32>(decodeNext(line, i));
        digits += u_isdigit(cp) ? 1 : 0;
        letters += u_isalpha(cp) ? 1 : 0;
    }
    return digits > 5 && letters < digits;
}

std::string truncated(const std::string& text) {
    if (text.size() <= CalendarNotesSanitizer::maxLength ||
        Support::Text::graphemeCount(text) <= CalendarNotesSanitizer::maxLength) {
        return text;
    }
    auto prefix = Support::Text::graphemePrefix(text, CalendarNotesSanitizer::maxLength - 1);
    auto blank = prefix.find_last_of(" \n");
    if (blank != std::string::npos &&
        Support::Text::graphemeCount(std::string_view(prefix).substr(0, blank)) > 500) {
        prefix = Support::Text::trimmed(std::string_view(prefix).substr(0, blank));
    }
    return prefix + "\u2026";
}

} // namespace

std::optional<std::string> CalendarNotesSanitizer::excerpt(const std::optional<std::string>& notes) {
    if (!notes) {
        return std::nullopt;
    }
    return excerpt(std::string_view(*notes));
}

std::optional<std::string> CalendarNotesSanitizer::excerpt(std::string_view notes) {
    if (notes.empty()) {
        return std::nullopt;
    }
    std::string text(notes);
    if (text.find('&') != std::string::npos) {
        static constexpr std::pair<std::string_view, std::string_view> entities[] = {
            {"&amp;", "&"}, {"&#38;", "&"}, {"&quot;", "\""}, {"&lt;", "<"}, {"&gt;", ">"}, {"&nbsp;", " "}};
        for (const auto& [from, to] : entities) {
            if (text.find(from) != std::string::npos) {
                text = Support::Text::replacingAll(text, from, to);
            }
        }
    }
    if (text.find('<') != std::string::npos) {
        static const Support::Regex lineBreaks("<br\\s*/?>|</p>|</div>", Support::Regex::caseInsensitive);
        text = lineBreaks.replaceAll(text, "\n");
        text = withoutTags(text);
    }
    if (text.find("://") != std::string::npos) {
        text = withoutSchemeURLs(text);
    }
    if (text.find('.') != std::string::npos) {
        text = withoutBareHosts(text);
    }

    std::vector<std::string> trimmedLines;
    // Line by line ("\n", "\r\n" or "\r"), stopping at the first rule line.
    std::string_view rest(text);
    for (bool last = false; !last;) {
        auto breakAt = static_cast<std::size_t>(
            std::find_if(rest.begin(), rest.end(), [](char c) { return c == '\n' || c == '\r'; }) -
            rest.begin());
        last = breakAt == rest.size();
        auto rawLine = rest.substr(0, breakAt);
        if (!last) {
            bool crlf = rest[breakAt] == '\r' && breakAt + 1 < rest.size() && rest[breakAt + 1] == '\n';
            rest.remove_prefix(breakAt + (crlf ? 2 : 1));
        }
        auto line = Support::Text::trimmedSpacesOnly(rawLine);
        if (line.find("-::~:~::") != std::string::npos || isRuleLine(line)) {
            break;
        }
        if (line.empty()) {
            if (!trimmedLines.empty() && !trimmedLines.back().empty()) {
                trimmedLines.emplace_back();
            }
            continue;
        }
        if (isBoilerplate(line) || isMostlyNumeric(line)) {
            continue;
        }
        trimmedLines.push_back(std::move(line));
    }
    while (!trimmedLines.empty() && trimmedLines.back().empty()) {
        trimmedLines.pop_back();
    }
    auto joined = Support::Text::trimmed(Support::Text::joined(trimmedLines, "\n"));
    if (joined.empty()) {
        return std::nullopt;
    }
    return truncated(joined);
}

} // namespace UI

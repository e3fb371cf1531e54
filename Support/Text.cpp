#include "Support/Text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace Support::Text {

namespace {

bool isASCII(std::string_view s) {
    return std::all_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// One byte is one character: ASCII with no "\r\n" pair (the only multi-byte ASCII cluster).
bool isSimpleASCII(std::string_view s) {
    return isASCII(s) && s.find("\r\n") == std::string_view::npos;
}

// ICU works in UTF-16. Ill-formed bytes become U+FFFD one byte at a time, and `offsets` maps each UTF-16
// unit back to the byte where its code point starts (with a final entry for the end), so that cuts made in
// UTF-16 land on the original bytes and invalid bytes survive untouched.
icu::UnicodeString toUnicode(std::string_view s, std::vector<std::size_t>* offsets = nullptr) {
    icu::UnicodeString u;
    if (offsets) {
        offsets->clear();
        offsets->reserve(s.size() + 1);
    }
    std::size_t pos = 0;
    while (pos < s.size()) {
        std::size_t start = pos;
        char32_t c = decodeNext(s, pos);
        int before = u.length();
        u.append(static_cast<UChar32>(c));
        if (offsets) {
            for (int i = before; i < u.length(); ++i) {
                offsets->push_back(start);
            }
        }
    }
    if (offsets) {
        offsets->push_back(s.size());
    }
    return u;
}

std::string toUTF8(const icu::UnicodeString& u) {
    std::string out;
    u.toUTF8String(out);
    return out;
}

// Byte offsets of every character boundary, including 0 and s.size().
std::vector<std::size_t> graphemeBoundaries(std::string_view s) {
    std::vector<std::size_t> result;
    if (isSimpleASCII(s)) {
        result.resize(s.size() + 1);
        for (std::size_t i = 0; i <= s.size(); ++i) {
            result[i] = i;
        }
        return result;
    }
    std::vector<std::size_t> offsets;
    icu::UnicodeString u = toUnicode(s, &offsets);
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> it(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status) || !it) {
        // No break rules available: fall back to code points.
        for (std::size_t i = 0; i + 1 < offsets.size(); ++i) {
            if (i == 0 || offsets[i] != offsets[i - 1]) {
                result.push_back(offsets[i]);
            }
        }
        result.push_back(s.size());
        return result;
    }
    it->setText(u);
    for (int32_t b = it->first(); b != icu::BreakIterator::DONE; b = it->next()) {
        result.push_back(offsets[static_cast<std::size_t>(b)]);
    }
    if (result.empty()) {
        result.push_back(0);
    }
    return result;
}

template <typename Predicate> std::string trimmedWhere(std::string_view s, Predicate drop) {
    std::size_t begin = 0;
    std::size_t end = s.size();
    std::size_t pos = 0;
    while (pos < s.size()) {
        std::size_t start = pos;
        if (!drop(decodeNext(s, pos), pos - start == 1 && static_cast<unsigned char>(s[start]) >= 0x80)) {
            break;
        }
        begin = pos;
    }
    // Walk back from the end one code point at a time.
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && (static_cast<unsigned char>(s[start]) & 0xC0) == 0x80 && end - start < 4) {
            --start;
        }
        std::size_t p = start;
        char32_t c = decodeNext(s, p);
        if (p != end) {
            // Not one well-formed code point ending here: the last byte is on its own.
            start = end - 1;
            p = start;
            c = decodeNext(s, p);
        }
        if (!drop(c, p - start == 1 && static_cast<unsigned char>(s[start]) >= 0x80)) {
            break;
        }
        end = start;
    }
    return std::string(s.substr(begin, end - begin));
}

const icu::Normalizer2* nfkd() {
    static const icu::Normalizer2* instance = [] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Normalizer2* n = icu::Normalizer2::getNFKDInstance(status);
        return U_SUCCESS(status) ? n : nullptr;
    }();
    return instance;
}

const icu::Normalizer2* nfkcCasefold() {
    static const icu::Normalizer2* instance = [] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Normalizer2* n = icu::Normalizer2::getNFKCCasefoldInstance(status);
        return U_SUCCESS(status) ? n : nullptr;
    }();
    return instance;
}

// Letters that carry no decomposition yet read as a base letter to someone typing a search.
const char* foldedBaseLetter(UChar32 c) {
    switch (c) {
    case 0x00F8:
    case 0x00D8:
        return "o"; // ø Ø
    case 0x0142:
    case 0x0141:
        return "l"; // ł Ł
    case 0x00E6:
    case 0x00C6:
        return "ae"; // æ Æ
    case 0x0153:
    case 0x0152:
        return "oe"; // œ Œ
    case 0x00DF:
    case 0x1E9E:
        return "ss"; // ß ẞ
    case 0x0111:
    case 0x0110:
        return "d"; // đ Đ
    case 0x00F0:
    case 0x00D0:
        return "d"; // ð Ð
    case 0x00FE:
    case 0x00DE:
        return "th"; // þ Þ
    case 0x0131:
        return "i"; // ı
    default:
        return nullptr;
    }
}

} // namespace

std::size_t graphemeCount(std::string_view s) {
    if (s.empty()) {
        return 0;
    }
    if (isSimpleASCII(s)) {
        return s.size();
    }
    return graphemeBoundaries(s).size() - 1;
}

std::string graphemePrefix(std::string_view s, std::size_t count) {
    if (isSimpleASCII(s)) {
        return std::string(s.substr(0, count));
    }
    auto bounds = graphemeBoundaries(s);
    if (count + 1 >= bounds.size()) {
        return std::string(s);
    }
    return std::string(s.substr(0, bounds[count]));
}

std::string graphemeSuffix(std::string_view s, std::size_t count) {
    if (isSimpleASCII(s)) {
        return std::string(s.substr(s.size() - std::min(count, s.size())));
    }
    auto bounds = graphemeBoundaries(s);
    if (count + 1 >= bounds.size()) {
        return std::string(s);
    }
    return std::string(s.substr(bounds[bounds.size() - 1 - count]));
}

bool isWhitespace(char32_t c) {
    return u_isUWhiteSpace(static_cast<UChar32>(c));
}

bool isNewline(char32_t c) {
    return c == 0x0A || c == 0x0B || c == 0x0C || c == 0x0D || c == 0x85 || c == 0x2028 || c == 0x2029;
}

std::string trimmed(std::string_view s) {
    return trimmedWhere(s, [](char32_t c, bool invalid) { return !invalid && isWhitespace(c); });
}

std::string trimmedSpacesOnly(std::string_view s) {
    return trimmedWhere(
        s, [](char32_t c, bool invalid) { return !invalid && isWhitespace(c) && !isNewline(c); });
}

bool isBlank(std::string_view s) {
    std::size_t pos = 0;
    while (pos < s.size()) {
        std::size_t start = pos;
        char32_t c = decodeNext(s, pos);
        bool invalid = pos - start == 1 && static_cast<unsigned char>(s[start]) >= 0x80;
        if (invalid || !isWhitespace(c)) {
            return false;
        }
    }
    return true;
}

std::string lowercased(std::string_view s) {
    if (isASCII(s)) {
        return asciiLowercased(s);
    }
    icu::UnicodeString u = toUnicode(s);
    u.toLower(icu::Locale::getRoot());
    return toUTF8(u);
}

std::string uppercased(std::string_view s) {
    if (isASCII(s)) {
        std::string out(s);
        for (char& c : out) {
            if (c >= 'a' && c <= 'z') {
                c = static_cast<char>(c - 'a' + 'A');
            }
        }
        return out;
    }
    icu::UnicodeString u = toUnicode(s);
    u.toUpper(icu::Locale::getRoot());
    return toUTF8(u);
}

std::string capitalized(std::string_view s) {
    // A word starts after anything that is not a letter, digit or mark (as "hello-world" → "Hello-World").
    icu::UnicodeString u = toUnicode(s);
    icu::UnicodeString out;
    bool atWordStart = true;
    for (int32_t i = 0; i < u.length();) {
        UChar32 c = u.char32At(i);
        int32_t next = u.moveIndex32(i, 1);
        icu::UnicodeString piece(u, i, next - i);
        bool wordChar = u_isalnum(c) || (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0 || c == '\'' || c == 0x2019;
        if (!wordChar) {
            atWordStart = true;
            out.append(piece);
        } else if (atWordStart && !(U_GET_GC_MASK(c) & U_GC_M_MASK)) {
            piece.toTitle(nullptr, icu::Locale::getRoot(),
                          U_TITLECASE_NO_BREAK_ADJUSTMENT | U_TITLECASE_NO_LOWERCASE);
            out.append(piece);
            atWordStart = false;
        } else {
            piece.toLower(icu::Locale::getRoot());
            out.append(piece);
        }
        i = next;
    }
    return toUTF8(out);
}

std::string searchFolded(std::string_view s) {
    if (isASCII(s)) {
        return asciiLowercased(s);
    }
    const icu::Normalizer2* decompose = nfkd();
    const icu::Normalizer2* fold = nfkcCasefold();
    icu::UnicodeString u = toUnicode(s);
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString decomposed = decompose ? decompose->normalize(u, status) : u;
    if (U_FAILURE(status)) {
        decomposed = u;
    }
    icu::UnicodeString stripped;
    for (int32_t i = 0; i < decomposed.length();) {
        UChar32 c = decomposed.char32At(i);
        i = decomposed.moveIndex32(i, 1);
        if (u_charType(c) == U_NON_SPACING_MARK) {
            continue;
        }
        if (const char* base = foldedBaseLetter(c)) {
            stripped.append(icu::UnicodeString(base, -1, icu::UnicodeString::kInvariant));
        } else {
            stripped.append(c);
        }
    }
    status = U_ZERO_ERROR;
    icu::UnicodeString folded = fold ? fold->normalize(stripped, status) : stripped;
    if (U_FAILURE(status)) {
        folded = stripped;
        folded.foldCase();
    }
    return toUTF8(folded);
}

bool containsFolded(std::string_view haystack, std::string_view needle) {
    if (needle.empty()) {
        return true;
    }
    return searchFolded(haystack).find(searchFolded(needle)) != std::string::npos;
}

std::string sanitizedUTF8(std::string_view s) {
    if (isValidUTF8(s)) {
        return std::string(s);
    }
    std::string out;
    out.reserve(s.size() + 8);
    std::size_t pos = 0;
    while (pos < s.size()) {
        appendUTF8(out, decodeNext(s, pos));
    }
    return out;
}

bool isValidUTF8(std::string_view s) {
    std::size_t pos = 0;
    while (pos < s.size()) {
        // Runs of ASCII, eight bytes at a time: settings files and transcripts are mostly ASCII.
        std::uint64_t word;
        while (pos + sizeof word <= s.size() &&
               (std::memcpy(&word, s.data() + pos, sizeof word), (word & 0x8080808080808080ULL) == 0)) {
            pos += sizeof word;
        }
        if (pos >= s.size()) {
            break;
        }
        if (static_cast<unsigned char>(s[pos]) < 0x80) {
            ++pos;
            continue;
        }
        std::size_t start = pos;
        char32_t c = decodeNext(s, pos);
        if (c == 0xFFFD && !(pos - start == 3 && s.substr(start, 3) == "\xEF\xBF\xBD")) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> split(std::string_view s, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (true) {
        std::size_t at = s.find(separator, start);
        if (at == std::string_view::npos) {
            parts.emplace_back(s.substr(start));
            return parts;
        }
        parts.emplace_back(s.substr(start, at - start));
        start = at + 1;
    }
}

std::vector<std::string> lines(std::string_view s) {
    std::vector<std::string> result;
    std::size_t start = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\n' || s[i] == '\r') {
            result.emplace_back(s.substr(start, i - start));
            if (s[i] == '\r' && i + 1 < s.size() && s[i + 1] == '\n') {
                ++i;
            }
            start = i + 1;
        }
    }
    result.emplace_back(s.substr(start));
    return result;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i) {
            out.append(separator);
        }
        out.append(parts[i]);
    }
    return out;
}

bool startsWith(std::string_view s, std::string_view prefix) {
    return s.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view s, std::string_view suffix) {
    return s.size() >= suffix.size() && s.substr(s.size() - suffix.size()) == suffix;
}

bool equalsIgnoringASCIICase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') {
            x = static_cast<char>(x - 'A' + 'a');
        }
        if (y >= 'A' && y <= 'Z') {
            y = static_cast<char>(y - 'A' + 'a');
        }
        if (x != y) {
            return false;
        }
    }
    return true;
}

std::string asciiLowercased(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return out;
}

std::string replacingAll(std::string_view s, std::string_view from, std::string_view to) {
    if (from.empty()) {
        return std::string(s);
    }
    std::string out;
    std::size_t start = 0;
    while (true) {
        std::size_t at = s.find(from, start);
        if (at == std::string_view::npos) {
            out.append(s.substr(start));
            return out;
        }
        out.append(s.substr(start, at - start));
        out.append(to);
        start = at + from.size();
    }
}

char32_t decodeNext(std::string_view s, std::size_t& pos) {
    if (pos >= s.size()) {
        return 0xFFFD;
    }
    auto b0 = static_cast<unsigned char>(s[pos]);
    if (b0 < 0x80) {
        ++pos;
        return b0;
    }
    std::size_t length;
    char32_t c;
    char32_t minimum;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        length = 2, c = b0 & 0x1F, minimum = 0x80;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        length = 3, c = b0 & 0x0F, minimum = 0x800;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        length = 4, c = b0 & 0x07, minimum = 0x10000;
    } else {
        ++pos;
        return 0xFFFD;
    }
    if (pos + length > s.size()) {
        ++pos;
        return 0xFFFD;
    }
    for (std::size_t i = 1; i < length; ++i) {
        auto b = static_cast<unsigned char>(s[pos + i]);
        if ((b & 0xC0) != 0x80) {
            ++pos;
            return 0xFFFD;
        }
        c = (c << 6) | (b & 0x3F);
    }
    if (c < minimum || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        ++pos;
        return 0xFFFD;
    }
    pos += length;
    return c;
}

void appendUTF8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        c = 0xFFFD;
    }
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

} // namespace Support::Text

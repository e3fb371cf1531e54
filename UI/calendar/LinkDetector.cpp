#include "UI/calendar/LinkDetector.h"

#include <array>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <cstdint>

namespace UI {

namespace {

bool isAsciiAlpha(unsigned char c) {
    return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
}
bool isAsciiDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}
bool isAsciiAlnum(unsigned char c) {
    return isAsciiAlpha(c) || isAsciiDigit(c);
}
/// Characters of a scheme ("zoommtg", "coap+tcp") and of a host name ("us02web.zoom.us").
bool isRunChar(unsigned char c) {
    return isAsciiAlnum(c) || c == '.' || c == '-' || c == '+';
}

/// Decodes the code point of a multi-byte sequence at `i`; sets `length`. An ill-formed byte gives 0xFFFD
/// and length 1, so that scanning always advances.
char32_t decodeAt(std::string_view s, std::size_t i, std::size_t& length) {
    auto b0 = static_cast<unsigned char>(s[i]);
    std::size_t need = b0 >= 0xF0 && b0 <= 0xF4   ? 3
                       : b0 >= 0xE0 && b0 <= 0xEF ? 2
                       : b0 >= 0xC2 && b0 <= 0xDF ? 1
                                                  : 0;
    length = 1;
    if (need == 0 || i + need >= s.size()) {
        return 0xFFFD;
    }
    char32_t cp = b0 & (0x3F >> need);
    for (std::size_t k = 1; k <= need; ++k) {
        auto b = static_cast<unsigned char>(s[i + k]);
        if ((b & 0xC0) != 0x80) {
            return 0xFFFD;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    length = need + 1;
    return cp;
}

/// White space (Unicode White_Space), zero-width space and the quotation marks and angle brackets that
/// enclose links in prose.
bool isDelimiter(char32_t c) {
    switch (c) {
    case 0x85:
    case 0xA0:
    case 0xAB:
    case 0xBB:
    case 0x1680:
    case 0x200B:
    case 0x2018:
    case 0x2019:
    case 0x201C:
    case 0x201D:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x2039:
    case 0x203A:
    case 0x205F:
    case 0x3000:
    case 0xFEFF:
    case 0xFF02:
    case 0xFF1C:
    case 0xFF1E:
        return true;
    default:
        return c >= 0x2000 && c <= 0x200A;
    }
}

constexpr bool isAsciiDelimiter(unsigned char c) {
    return c <= 0x20 || c == 0x7F || c == '<' || c == '>' || c == '"';
}

/// For each byte: 0 for an ASCII character inside a token, 1 for an ASCII delimiter, 2 for a byte of a
/// multi-byte character (which may be a delimiter), 3 for the characters without which a token holds no
/// link (':' of "scheme://", '.' of "host.tld"). Lets the token scan look at each byte once.
constexpr std::array<std::uint8_t, 256> byteKinds = [] {
    std::array<std::uint8_t, 256> kinds{};
    for (unsigned c = 0; c < 256; ++c) {
        kinds[c] = c >= 0x80                                         ? 2
                   : isAsciiDelimiter(static_cast<unsigned char>(c)) ? 1
                   : c == ':' || c == '.'                            ? 3
                                                                     : 0;
    }
    return kinds;
}();

/// Bit k set when byte k of the (up to) sixteen at `bytes` is not a plain ASCII token character (its kind
/// is not 0). Sixteen at once with SSE2, as most of a note is short words.
std::uint32_t specialBytes(const unsigned char* bytes, std::size_t count) {
#ifdef __SSE2__
    if (count >= 16) {
        __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
        // Signed: bytes from 0x80 are negative, so this takes the controls, the space and non-ASCII.
        __m128i hits = _mm_cmplt_epi8(block, _mm_set1_epi8(0x21));
        for (char special : {'\x7F', '<', '>', '"', ':', '.'}) {
            hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(special)));
        }
        return static_cast<std::uint32_t>(_mm_movemask_epi8(hits));
    }
#endif
    std::uint32_t mask = 0;
    for (std::size_t k = 0; k < count && k < 16; ++k) {
        mask |= byteKinds[bytes[k]] != 0 ? 1u << k : 0u;
    }
    return mask;
}

/// True when [s, e) is a host name with a top-level domain: dot-separated non-empty labels of letters,
/// digits and hyphens, at least two, the last one all letters and at least two long.
bool looksLikeHost(std::string_view text, std::size_t s, std::size_t e, std::size_t minLabels) {
    std::size_t labels = 0;
    std::size_t labelStart = s;
    for (std::size_t i = s; i <= e; ++i) {
        if (i < e && text[i] == '+') {
            return false;
        }
        if (i < e && text[i] != '.') {
            continue;
        }
        if (i == labelStart) {
            return false;
        }
        ++labels;
        if (i == e) {
            if (i - labelStart < 2) {
                return false;
            }
            for (std::size_t k = labelStart; k < i; ++k) {
                if (!isAsciiAlpha(static_cast<unsigned char>(text[k]))) {
                    return false;
                }
            }
        }
        labelStart = i + 1;
    }
    return labels >= minLabels;
}

bool startsWithWww(std::string_view text, std::size_t s, std::size_t e) {
    return e - s > 4 && (text[s] | 0x20) == 'w' && (text[s + 1] | 0x20) == 'w' &&
           (text[s + 2] | 0x20) == 'w' && text[s + 3] == '.';
}

/// The first link in the token [a, b), if any; the link runs to the end of the token.
bool findInToken(std::string_view text, std::size_t a, std::size_t b, DetectedLink& out) {
    std::size_t i = a;
    while (i < b) {
        auto c = static_cast<unsigned char>(text[i]);
        if (!isRunChar(c)) {
            ++i;
            continue;
        }
        std::size_t s = i;
        std::size_t e = i;
        while (e < b && isRunChar(static_cast<unsigned char>(text[e]))) {
            ++e;
        }
        // "scheme://rest": the scheme begins with a letter.
        if (e + 3 < b && text[e] == ':' && text[e + 1] == '/' && text[e + 2] == '/') {
            // A scheme holds no dot in practice; "notes.https://…" starts the link at "https".
            std::size_t schemeStart = s;
            for (std::size_t k = s; k < e; ++k) {
                if (text[k] == '.') {
                    schemeStart = k + 1;
                }
            }
            while (schemeStart < e && !isAsciiAlpha(static_cast<unsigned char>(text[schemeStart]))) {
                ++schemeStart;
            }
            if (schemeStart < e) {
                out = DetectedLink{schemeStart, b - schemeStart, text.substr(schemeStart, b - schemeStart),
                                   false};
                return true;
            }
        }
        // "www.host.tld…" or "host.tld/…", not inside an address, a path or another word.
        unsigned char before = s > a ? static_cast<unsigned char>(text[s - 1]) : ' ';
        bool freeStanding = before != '@' && before != '/' && before != ':' && before != '_' &&
                            before != '%' && before != '\\' && before != '=' && before != '&' &&
                            before != '?' && before != '#';
        if (freeStanding && isAsciiAlnum(c)) {
            bool withPath = e < b && text[e] == '/' && looksLikeHost(text, s, e, 2);
            bool www = !withPath && startsWithWww(text, s, e) && looksLikeHost(text, s, e, 3);
            if (withPath || www) {
                out = DetectedLink{s, b - s, text.substr(s, b - s), true};
                return true;
            }
        }
        i = e;
    }
    return false;
}

} // namespace

void LinkDetector::forEachLink(std::string_view text, const std::function<bool(const DetectedLink&)>& visit) {
    // Tokens run between delimiters; only one with a ':' or a '.' can hold a link. The special bytes of each
    // block of sixteen are visited in order; a multi-byte character is read whole where it starts.
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    std::size_t tokenStart = 0;
    bool mayHoldLink = false;
    std::size_t skipUntil = 0; // the end of the multi-byte character read last
    for (std::size_t base = 0; base < text.size(); base += 16) {
        for (auto mask = specialBytes(bytes + base, text.size() - base); mask != 0; mask &= mask - 1) {
            std::size_t i = base + static_cast<std::size_t>(__builtin_ctz(mask));
            if (i < skipUntil) {
                continue;
            }
            auto kind = byteKinds[bytes[i]];
            if (kind == 3) {
                mayHoldLink = true;
                continue;
            }
            std::size_t next = i + 1;
            if (kind == 2) {
                std::size_t length = 1;
                bool delimiter = isDelimiter(decodeAt(text, i, length));
                skipUntil = next = i + length;
                if (!delimiter) {
                    continue;
                }
            }
            DetectedLink link;
            if (mayHoldLink && findInToken(text, tokenStart, i, link) && !visit(link)) {
                return;
            }
            tokenStart = next;
            mayHoldLink = false;
        }
    }
    DetectedLink link;
    if (mayHoldLink && findInToken(text, tokenStart, text.size(), link)) {
        visit(link);
    }
}

std::vector<DetectedLink> LinkDetector::links(std::string_view text) {
    std::vector<DetectedLink> out;
    forEachLink(text, [&out](const DetectedLink& link) {
        out.push_back(link);
        return true;
    });
    return out;
}

} // namespace UI

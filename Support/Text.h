// Text helpers over UTF-8 strings. "Characters" are user-perceived characters (extended grapheme clusters,
// ICU's character break iterator, with an ASCII fast path); "white space and newlines" is the Unicode
// White_Space property. Invalid UTF-8 never crashes anything: each bad byte counts as one character and is
// kept as it is, except where a function says it replaces it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Support::Text {

/// Number of user-perceived characters.
std::size_t graphemeCount(std::string_view s);
/// The first `count` user-perceived characters (the whole string when it has fewer).
std::string graphemePrefix(std::string_view s, std::size_t count);
/// The last `count` user-perceived characters.
std::string graphemeSuffix(std::string_view s, std::size_t count);

/// Without leading and trailing white space and newlines.
std::string trimmed(std::string_view s);
/// Without leading and trailing characters for which `isWhitespace` holds, but newlines kept.
std::string trimmedSpacesOnly(std::string_view s);
/// True when `s` is empty or all white space and newlines.
bool isBlank(std::string_view s);
bool isWhitespace(char32_t c);
bool isNewline(char32_t c);

/// Unicode (locale-independent) lower and upper case.
std::string lowercased(std::string_view s);
std::string uppercased(std::string_view s);
/// First letter of each word upper case, the rest lower case (Swift's `capitalized`).
std::string capitalized(std::string_view s);

/// The search key: compatibility-decomposed, non-spacing marks dropped, case folded, with letters that do
/// not decompose mapped to their base (ø→o, ł→l, æ→ae, ß→ss, đ→d, þ→th). "Café" and "cafe" share a key.
std::string searchFolded(std::string_view s);
/// True when `needle`'s folded key occurs in `haystack`'s (empty needle: true).
bool containsFolded(std::string_view haystack, std::string_view needle);

/// Valid UTF-8 with every ill-formed sequence replaced by U+FFFD.
std::string sanitizedUTF8(std::string_view s);
bool isValidUTF8(std::string_view s);

/// Splits on `separator` (keeping empty pieces).
std::vector<std::string> split(std::string_view s, char separator);
/// Splits on newlines ("\n", "\r\n", "\r").
std::vector<std::string> lines(std::string_view s);
std::string joined(const std::vector<std::string>& parts, std::string_view separator);
bool startsWith(std::string_view s, std::string_view prefix);
bool endsWith(std::string_view s, std::string_view suffix);
/// ASCII-only case-insensitive comparisons (for hosts, schemes, header names).
bool equalsIgnoringASCIICase(std::string_view a, std::string_view b);
std::string asciiLowercased(std::string_view s);
/// Every occurrence of `from` replaced by `to`.
std::string replacingAll(std::string_view s, std::string_view from, std::string_view to);

/// Decodes the next code point at `pos` (advancing it); an ill-formed byte gives U+FFFD and advances one.
char32_t decodeNext(std::string_view s, std::size_t& pos);
void appendUTF8(std::string& out, char32_t c);

} // namespace Support::Text

#include "Support/Text.h"

#include <gtest/gtest.h>

#include <string>

using namespace Support::Text;

namespace {

struct GraphemeCase {
    const char* name;
    std::string text;
    std::size_t count;
};

const std::string family =
    "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7"; // 👨‍👩‍👧
const std::string flagFR = "\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7";                  // 🇫🇷
const std::string flagDE = "\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA";                  // 🇩🇪
const std::string eAcuteCombining = "e\xCC\x81";                                // e + U+0301

} // namespace

TEST(Text, CountsUserPerceivedCharacters) {
    const GraphemeCase cases[] = {
        {"empty", "", 0},
        {"ascii", "hello", 5},
        {"crlf is one character", "a\r\nb", 3},
        {"lone cr and lf", "a\r\n\n\rb", 5},
        {"precomposed accent", "Caf\xC3\xA9", 4},
        {"combining accent", "Caf" + eAcuteCombining, 4},
        {"zwj family", family, 1},
        {"two flags", flagFR + flagDE, 2},
        {"family between letters", "a" + family + "b", 3},
        {"invalid bytes count one each",
         "a\xFF\xFE"
         "b",
         4},
        {"truncated sequence", "ab\xE2\x82", 4},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(graphemeCount(c.text), c.count) << c.name;
    }
}

TEST(Text, CutsPrefixesAndSuffixesOnCharacterBoundaries) {
    EXPECT_EQ(graphemePrefix("a" + family + "b", 2), "a" + family);
    EXPECT_EQ(graphemeSuffix("a" + family + "b", 2), family + "b");
    EXPECT_EQ(graphemePrefix(flagFR + flagDE, 1), flagFR);
    EXPECT_EQ(graphemeSuffix(flagFR + flagDE, 1), flagDE);
    EXPECT_EQ(graphemePrefix("x\r\ny", 2), "x\r\n");
    EXPECT_EQ(graphemeSuffix("x\r\ny", 2), "\r\ny");
    EXPECT_EQ(graphemePrefix("Caf" + eAcuteCombining + "!", 4), "Caf" + eAcuteCombining);
    EXPECT_EQ(graphemePrefix("short", 10), "short");
    EXPECT_EQ(graphemeSuffix("short", 10), "short");
    EXPECT_EQ(graphemeSuffix("short", 0), "");
    // Invalid bytes are kept as they are, not replaced.
    EXPECT_EQ(graphemePrefix("a\xFF"
                             "b\xC3\xA9",
                             2),
              "a\xFF");
    EXPECT_EQ(graphemeSuffix("a\xFF"
                             "b\xC3\xA9",
                             3),
              "\xFF"
              "b\xC3\xA9");
}

TEST(Text, TrimsUnicodeWhiteSpaceButNotInvalidBytes) {
    struct Case {
        std::string in, all, spacesOnly;
    } cases[] = {
        {"  hi  ", "hi", "hi"},
        {"\n\t hi \r\n", "hi", "\n\t hi \r\n"},
        {"\xC2\xA0hi\xE3\x80\x80", "hi", "hi"},                     // no-break space, ideographic space
        {"\xE2\x80\xA8hi\xC2\x85", "hi", "\xE2\x80\xA8hi\xC2\x85"}, // line separator, NEL
        {" \xFF ", "\xFF", "\xFF"},
        {" \xE2\x80 ", "\xE2\x80", "\xE2\x80"},
        {"   ", "", ""},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(trimmed(c.in), c.all) << c.in;
        EXPECT_EQ(trimmedSpacesOnly(c.in), c.spacesOnly) << c.in;
    }
    EXPECT_TRUE(isBlank(" \t\r\n\xC2\xA0"));
    EXPECT_TRUE(isBlank(""));
    EXPECT_FALSE(isBlank(" \xFF "));
    EXPECT_FALSE(isBlank(" . "));
}

TEST(Text, RecognisesEveryNewline) {
    for (char32_t c : {0x0Au, 0x0Bu, 0x0Cu, 0x0Du, 0x85u, 0x2028u, 0x2029u}) {
        EXPECT_TRUE(isNewline(c)) << static_cast<unsigned>(c);
        EXPECT_TRUE(isWhitespace(c)) << static_cast<unsigned>(c);
    }
    EXPECT_FALSE(isNewline(' '));
    EXPECT_FALSE(isWhitespace('x'));
    EXPECT_FALSE(isWhitespace(0x200B)); // zero-width space is not White_Space
}

TEST(Text, ChangesCaseForEveryScript) {
    EXPECT_EQ(lowercased("HeLLo"), "hello");
    EXPECT_EQ(lowercased("\xC3\x89T\xC3\x89"), "\xC3\xA9t\xC3\xA9"); // ÉTÉ → été
    EXPECT_EQ(uppercased("stra\xC3\x9F"
                         "e"),
              "STRASSE");                                          // ß upper-cases to SS
    EXPECT_EQ(uppercased("\xCE\xB1\xCE\xB2"), "\xCE\x91\xCE\x92"); // αβ
    EXPECT_EQ(lowercased("I"), "i");                               // root locale, not Turkish
    EXPECT_EQ(capitalized("hello wORLD"), "Hello World");
    EXPECT_EQ(capitalized("weekly sync-up"), "Weekly Sync-Up");
    EXPECT_EQ(capitalized("\xC3\xA9t\xC3\xA9 here"), "\xC3\x89t\xC3\xA9 Here");
    EXPECT_EQ(capitalized(""), "");
}

TEST(Text, FoldsAccentsCaseAndBaseLettersIntoOneSearchKey) {
    struct Case {
        std::string a, b;
    } sameKey[] = {
        {"Caf\xC3\xA9", "cafe"},
        {"Caf" + eAcuteCombining, "cafe"},
        {"\xC3\x98resund", "oresund"}, // Øresund
        {"\xC5\x81\xC3\xB3"
         "d\xC5\xBA",
         "lodz"}, // Łódź
        {"Stra\xC3\x9F"
         "e",
         "strasse"},
        {"\xC3\x86sop", "aesop"},
        {"\xC5\x93uvre", "oeuvre"},
        {"\xC4\x90"
         "akovo",
         "dakovo"},
        {"\xC3\xBE"
         "orn",
         "thorn"},
        {"\xEF\xAC\x81le", "file"},         // ﬁ ligature
        {"\xEF\xBC\xA1\xEF\xBC\xA2", "ab"}, // full-width ＡＢ
    };
    for (const auto& c : sameKey) {
        EXPECT_EQ(searchFolded(c.a), searchFolded(c.b)) << c.a;
    }
    EXPECT_EQ(searchFolded("Hello World"), "hello world");
    EXPECT_TRUE(containsFolded("Weekly \xC3\x98resund Sync", "ORESUND"));
    EXPECT_TRUE(containsFolded("anything", ""));
    EXPECT_FALSE(containsFolded("Cafe", "caff"));
    EXPECT_EQ(searchFolded("a\xFF"
                           "b"),
              "a\xEF\xBF\xBD"
              "b");
}

TEST(Text, ValidatesAndSanitizesUTF8) {
    struct Case {
        std::string in;
        bool valid;
        std::string sanitized;
    } cases[] = {
        {"plain", true, "plain"},
        {"Caf\xC3\xA9 " + family, true, "Caf\xC3\xA9 " + family},
        {"a\xFF"
         "b",
         false,
         "a\xEF\xBF\xBD"
         "b"},
        {"\xC0\xAF", false, "\xEF\xBF\xBD\xEF\xBF\xBD"},                                 // overlong '/'
        {"\xED\xA0\x80", false, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},                 // surrogate
        {"\xF4\x90\x80\x80", false, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"}, // above U+10FFFF
        {"end\xE2\x82", false, "end\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xEF\xBF\xBD", true, "\xEF\xBF\xBD"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isValidUTF8(c.in), c.valid) << c.in;
        EXPECT_EQ(sanitizedUTF8(c.in), c.sanitized) << c.in;
        EXPECT_TRUE(isValidUTF8(sanitizedUTF8(c.in)));
    }
}

TEST(Text, FindsABadByteAnywhereInALongASCIIText) {
    // Long texts are checked eight bytes at a time: the fault must be found at every offset, and a valid
    // sequence split across two words must still pass.
    const std::string ascii(40, 'a');
    for (std::size_t at = 0; at <= ascii.size(); ++at) {
        std::string bad = ascii;
        bad.insert(at, "\xFF");
        EXPECT_FALSE(isValidUTF8(bad)) << at;
        std::string cut = ascii;
        cut.insert(at, "\xE2\x82"); // a euro sign missing its last byte
        EXPECT_FALSE(isValidUTF8(cut)) << at;
        std::string good = ascii;
        good.insert(at, "\xE2\x82\xAC");
        EXPECT_TRUE(isValidUTF8(good)) << at;
    }
}

TEST(Text, DecodesAndEncodesCodePoints) {
    std::string s = "a\xC3\xA9\xF0\x9F\x87\xAB\xFF";
    std::size_t pos = 0;
    EXPECT_EQ(decodeNext(s, pos), U'a');
    EXPECT_EQ(decodeNext(s, pos), U'\u00E9');
    EXPECT_EQ(decodeNext(s, pos), U'\U0001F1EB');
    EXPECT_EQ(decodeNext(s, pos), 0xFFFDu);
    EXPECT_EQ(pos, s.size());
    std::string out;
    for (char32_t c : {U'a', U'\u00E9', U'\u20AC', U'\U0001F1EB'}) {
        appendUTF8(out, c);
    }
    EXPECT_EQ(out, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x87\xAB");
}

TEST(Text, SplitsJoinsAndReplaces) {
    EXPECT_EQ(split("a,,b,", ','), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_EQ(split("", ','), (std::vector<std::string>{""}));
    EXPECT_EQ(lines("one\r\ntwo\nthree\rfour"), (std::vector<std::string>{"one", "two", "three", "four"}));
    EXPECT_EQ(lines("a\n\nb\n"), (std::vector<std::string>{"a", "", "b", ""}));
    EXPECT_EQ(joined({"a", "b", "c"}, ", "), "a, b, c");
    EXPECT_EQ(joined({}, ", "), "");
    EXPECT_EQ(replacingAll("aaa", "a", "bb"), "bbbbbb");
    EXPECT_EQ(replacingAll("abcabc", "bc", ""), "aa");
    EXPECT_EQ(replacingAll("abc", "", "x"), "abc");
    EXPECT_TRUE(startsWith("https://x", "https:"));
    EXPECT_FALSE(startsWith("ht", "https:"));
    EXPECT_TRUE(endsWith("file.json", ".json"));
    EXPECT_FALSE(endsWith("n", ".json"));
    EXPECT_TRUE(equalsIgnoringASCIICase("Content-Type", "content-type"));
    EXPECT_FALSE(equalsIgnoringASCIICase("Content-Type", "content-typ"));
    EXPECT_FALSE(equalsIgnoringASCIICase("\xC3\x89", "\xC3\xA9"));
    EXPECT_EQ(asciiLowercased("ZOOM.us \xC3\x89"), "zoom.us \xC3\x89");
}

#include "Support/Regex.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using Support::Regex;
using Support::RegexMatch;

namespace {

std::vector<std::string> matchedTexts(const Regex& re, std::string_view subject) {
    std::vector<std::string> out;
    for (const auto& m : re.allMatches(subject)) {
        out.emplace_back(m.str());
    }
    return out;
}

} // namespace

TEST(Regex, FindsGroupsWithByteOffsets) {
    Regex re(R"(zoom\.us/j/(\d+)(?:\?pwd=(\w+))?)");
    EXPECT_EQ(re.groupCount(), 2u);
    auto m = re.firstMatch("Join: https://zoom.us/j/123456 now");
    ASSERT_TRUE(m);
    EXPECT_EQ(m->start(), 14u);
    EXPECT_EQ(m->str(1), "123456");
    EXPECT_FALSE(m->groups[2].isSet());
    EXPECT_EQ(m->str(2), "");
    auto withPassword = re.firstMatch("zoom.us/j/9?pwd=abc");
    ASSERT_TRUE(withPassword);
    EXPECT_EQ(withPassword->str(2), "abc");
    EXPECT_FALSE(re.firstMatch("https://zoom.us/j/123456", 10));
    EXPECT_FALSE(re.firstMatch("short", 99));
}

TEST(Regex, AppliesOptions) {
    struct Case {
        const char* pattern;
        unsigned options;
        std::string subject;
        bool matches;
    } cases[] = {
        {"meet", Regex::none, "MEET", false},
        {"meet", Regex::caseInsensitive, "MEET", true},
        {"caf\xC3\xA9", Regex::caseInsensitive, "CAF\xC3\x89", true},
        {"^b$", Regex::none, "a\nb\nc", false},
        {"^b$", Regex::multiline, "a\nb\nc", true},
        {"a.c", Regex::none, "a\nc", false},
        {"a.c", Regex::dotAll, "a\nc", true},
        {"a b # comment", Regex::extended, "ab", true},
        {R"(\w+)", Regex::none, "\xC3\xA9t\xC3\xA9", true}, // \w is Unicode-aware
        {R"(^\d$)", Regex::none, "\xD9\xA3", true},         // Arabic-Indic digit three
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Regex(c.pattern, c.options).matches(c.subject), c.matches)
            << c.pattern << " / " << c.subject;
    }
}

TEST(Regex, RejectsABadPatternWithTheReasonAndOffset) {
    try {
        Regex re("abc(def");
        FAIL() << "expected an exception";
    } catch (const std::invalid_argument& e) {
        std::string what = e.what();
        EXPECT_NE(what.find("abc(def"), std::string::npos) << what;
        EXPECT_NE(what.find("offset 7"), std::string::npos) << what;
        EXPECT_NE(what.find("missing closing parenthesis"), std::string::npos) << what;
    }
    EXPECT_THROW(Regex("[z-a]"), std::invalid_argument);
}

TEST(Regex, AdvancesPastEmptyMatchesByWholeCharacters) {
    EXPECT_EQ(matchedTexts(Regex("x*"), "axxb"), (std::vector<std::string>{"", "xx", "", ""}));
    // Empty matches land only between characters, never inside "é" or the emoji.
    auto empties = Regex("").allMatches("\xC3\xA9\xF0\x9F\x98\x80");
    ASSERT_EQ(empties.size(), 3u);
    EXPECT_EQ(empties[1].start(), 2u);
    EXPECT_EQ(empties[2].start(), 6u);
    EXPECT_EQ(Regex("").allMatches("").size(), 1u);
    EXPECT_EQ(Regex("x*").replaceAll("ab", "-"), "-a-b-");
}

TEST(Regex, MatchesAroundInvalidUTF8WithoutFailing) {
    std::string subject = "id=12\xFF\xFEid=34\xC3";
    EXPECT_EQ(matchedTexts(Regex(R"(id=(\d+))"), subject), (std::vector<std::string>{"id=12", "id=34"}));
    EXPECT_FALSE(Regex("^.+$").matches("\xFF"));
    EXPECT_EQ(Regex("")
                  .allMatches("a\xFF"
                              "b")
                  .size(),
              4u);
    EXPECT_EQ(Regex("b").replaceAll("a\xFF"
                                    "b",
                                    "c"),
              "a\xFF"
              "c");
}

TEST(Regex, ReplacesWithGroupReferences) {
    Regex re(R"((\w+)@(\w+))");
    struct Case {
        const char* replacement;
        const char* expected;
    } cases[] = {
        {"$2 at $1", "x bob at ann y"},
        {"${2}x", "x bobx y"},
        {"$$1", "x $1 y"},
        {"$", "x $ y"},
        {"$9", "x  y"},
        {"${z}", "x ${z} y"},
        {"$10", "x ann0 y"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(re.replaceAll("x ann@bob y", c.replacement), c.expected) << c.replacement;
    }
    EXPECT_EQ(Regex(R"(\d+)").replaceAll(
                  "a1b22c", [](const RegexMatch& m) { return "<" + std::string(m.str()) + ">"; }),
              "a<1>b<22>c");
}

TEST(Regex, StopsWhenTheVisitorSaysSo) {
    int seen = 0;
    Regex(R"(\d)").forEachMatch("1234", [&](const RegexMatch&) { return ++seen < 2; });
    EXPECT_EQ(seen, 2);
}

TEST(Regex, HandlesAHundredThousandMatchesInAFourMegabyteText) {
    std::string subject;
    subject.reserve(4'200'000);
    for (int i = 0; i < 100'000; ++i) {
        subject += "line \xC3\xA9t\xC3\xA9 number ";
        subject += std::to_string(i);
        subject += " https://meet.example/abc-" + std::to_string(i) + " padding padding\n";
    }
    subject += "\xFF"; // one invalid byte at the end must not force a re-check of the whole text per match
    ASSERT_GT(subject.size(), 4'000'000u);
    Regex re(R"(https://meet\.example/abc-(\d+))");
    std::size_t count = 0;
    bool inOrder = true;
    re.forEachMatch(subject, [&](const RegexMatch& m) {
        inOrder = inOrder && m.str(1) == std::to_string(count);
        ++count;
        return true;
    });
    EXPECT_EQ(count, 100'000u);
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(Regex("(?m)^").allMatches(subject).size(), 100'001u);
}

TEST(Regex, IsSafeToShareBetweenThreads) {
    Regex re(R"(\d+)");
    std::vector<std::thread> threads;
    std::vector<std::size_t> counts(4);
    for (std::size_t t = 0; t < counts.size(); ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                counts[t] += re.allMatches("1 22 333 4444").size();
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    for (auto c : counts) {
        EXPECT_EQ(c, 800u);
    }
}

TEST(Regex, KeepsWorkingAfterAMove) {
    Regex a("b+");
    Regex b = std::move(a);
    EXPECT_EQ(b.pattern(), "b+");
    EXPECT_EQ(b.replaceAll("abbc", "X"), "aXc");
}

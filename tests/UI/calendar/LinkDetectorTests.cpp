#include "UI/calendar/LinkDetector.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using UI::LinkDetector;

namespace {

std::vector<std::string> texts(std::string_view s) {
    std::vector<std::string> out;
    for (const auto& link : LinkDetector::links(s)) {
        out.emplace_back(link.text);
    }
    return out;
}

} // namespace

TEST(LinkDetector, FindsSchemeWwwAndBareHostLinks) {
    EXPECT_EQ(
        texts("see https://a.example.com/x?y=1 and www.example.org, or example.com/path."),
        (std::vector<std::string>{"https://a.example.com/x?y=1", "www.example.org,", "example.com/path."}));
}

TEST(LinkDetector, StopsAtWhiteSpaceAngleBracketsAndQuotes) {
    EXPECT_EQ(texts("<https://zoom.us/j/1>\"https://b.example/q\"\u00a0https://c.example/\u201cx"),
              (std::vector<std::string>{"https://zoom.us/j/1", "https://b.example/q", "https://c.example/"}));
}

TEST(LinkDetector, LeavesOutTextBeforeTheSchemeAndWordsThatAreNoHosts) {
    EXPECT_EQ(texts("Link:https://zoom.us/j/1 (https://x.org/a) e.g./ 1.5/2 jane@example.com/x a_b.com/"),
              (std::vector<std::string>{"https://zoom.us/j/1", "https://x.org/a)"}));
}

TEST(LinkDetector, MarksLinksWithoutASchemeAsImplied) {
    auto links = LinkDetector::links("https://a.org/ www.b.org");
    ASSERT_EQ(links.size(), 2u);
    EXPECT_FALSE(links[0].impliedScheme);
    EXPECT_TRUE(links[1].impliedScheme);
    EXPECT_EQ(links[1].start, 15u);
}

TEST(LinkDetector, NeverReportsARangeOutsideTheTextWhateverItHolds) {
    std::vector<std::string> inputs = {
        std::string("https://"),
        std::string("\xff\xfehttps://a.org/\xc3"),
        std::string("www."),
        std::string(300000, ':') + "//",
        std::string("a.bc/") + std::string(1, '\0') + "x",
        std::string("\xe2\x80"),
    };
    for (const auto& s : inputs) {
        for (const auto& link : LinkDetector::links(s)) {
            EXPECT_LE(link.start + link.length, s.size());
            EXPECT_GT(link.length, 0u);
        }
    }
}

TEST(LinkDetector, FindsTheSameLinkWhereverTheTextsBlocksOfSixteenBytesEnd) {
    // The scan reads sixteen bytes at a time: a multi-byte delimiter, an ill-formed sequence or the link
    // itself may straddle a block's end.
    for (std::size_t pad = 0; pad < 40; ++pad) {
        std::string before(pad, 'a');
        auto around = before + "\u00a0https://zoom.us/j/123456789\u200btail";
        EXPECT_EQ(texts(around), (std::vector<std::string>{"https://zoom.us/j/123456789"})) << pad;
        EXPECT_EQ(LinkDetector::links(around)[0].start, pad + 2) << pad;
        auto illFormed = before + "\xe2\x80https://x.org/z \xf0\x9f\x98\x80 www.y.org";
        EXPECT_EQ(texts(illFormed), (std::vector<std::string>{"https://x.org/z", "www.y.org"})) << pad;
        auto wordsOnly = before + " plain words\u3000and more words without any link at all";
        EXPECT_TRUE(texts(wordsOnly).empty()) << pad;
    }
}

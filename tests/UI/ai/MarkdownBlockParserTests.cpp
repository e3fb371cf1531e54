#include "UI/ai/MarkdownBlockParser.h"

#include "UI/library/TextCleaning.h"

#include <gtest/gtest.h>

using UI::MarkdownBlock;
using UI::MarkdownBlockParser;
using K = MarkdownBlock::Kind;

namespace {
MarkdownBlock paragraph(std::string t) {
    return {K::paragraph, std::move(t), std::nullopt, std::nullopt, std::nullopt};
}
MarkdownBlock heading(std::string t, int level) {
    return {K::heading, std::move(t), level, std::nullopt, std::nullopt};
}
MarkdownBlock item(std::string t, int indent, std::optional<long long> number = std::nullopt) {
    return {K::listItem, std::move(t), std::nullopt, indent, number};
}
MarkdownBlock divider() {
    return {K::divider, "", std::nullopt, std::nullopt, std::nullopt};
}
} // namespace

TEST(MarkdownBlockParser, ClassifiesEachLine) {
    struct Case {
        std::string text;
        std::vector<MarkdownBlock> expected;
    };
    const std::vector<Case> cases = {
        {"####### word", {paragraph("####### word")}},
        {"## Title ##", {heading("Title", 2)}},
        {"#", {heading("", 1)}},
        {"#hashtag", {paragraph("#hashtag")}},
        {"###\tTabbed", {heading("Tabbed", 3)}},
        {"- - -", {divider()}},
        {"***", {divider()}},
        {"__", {paragraph("__")}},
        {"-*-", {paragraph("-*-")}},
        {"10. word", {item("word", 0, 10)}},
        {"1234567890. word", {paragraph("1234567890. word")}},
        {"3.\tTabbed", {item("Tabbed", 0, 3)}},
        {"  - two", {item("two", 2)}},
        {"\t* tab", {item("tab", 4)}},
        {"  \t+ mixed", {item("mixed", 4)}},
        {"-no blank", {paragraph("-no blank")}},
        {"1.no blank", {paragraph("1.no blank")}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(MarkdownBlockParser::parse(c.text), c.expected) << c.text;
    }
}

TEST(MarkdownBlockParser, JoinsContinuationLinesAndEndsBlocksAtBlankLines) {
    const auto blocks =
        MarkdownBlockParser::parse("# Summary\r\nWe met\r\n  and agreed.\n\n- Send notes\n  by Friday\n"
                                   "Next line\n\nNew paragraph\n---\nAfter");
    EXPECT_EQ(blocks,
              (std::vector<MarkdownBlock>{heading("Summary", 1), paragraph("We met and agreed."),
                                          item("Send notes by Friday Next line", 0),
                                          paragraph("New paragraph"), divider(), paragraph("After")}));
    EXPECT_TRUE(MarkdownBlockParser::parse("").empty());
    EXPECT_TRUE(MarkdownBlockParser::parse("\n \n\t\n").empty());
}

TEST(MarkdownBlockParser, RendersInlineMarkupAsStyledRuns) {
    const auto runs = MarkdownBlockParser::inlineRuns("Ship **on Friday** with `make`");
    std::string text;
    bool sawBold = false, sawCode = false;
    for (const auto& run : runs) {
        text += run.text;
        sawBold |= run.text == "on Friday" && (run.styles & UI::AttributedString::bold);
        sawCode |= run.text == "make" && (run.styles & UI::AttributedString::code);
    }
    EXPECT_EQ(text, "Ship on Friday with make");
    EXPECT_TRUE(sawBold);
    EXPECT_TRUE(sawCode);
    const auto plain = MarkdownBlockParser::inlineRuns("Unclosed **bold stays as typed");
    ASSERT_FALSE(plain.empty());
    std::string plainText;
    for (const auto& run : plain) {
        plainText += run.text;
    }
    EXPECT_EQ(plainText, "Unclosed **bold stays as typed");
}

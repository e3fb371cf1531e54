#include "UI/library/TextCleaning.h"

#include <gtest/gtest.h>

namespace TC = UI::TextCleaning;

TEST(TextCleaning, KeepsItsTablesInTheirDocumentedSizes) {
    EXPECT_EQ(TC::rejectedTitleValues.size(), 11u);
    EXPECT_EQ(TC::rejectedTitlePrefixes.size(), 18u);
    EXPECT_EQ(TC::titleRejectionPatterns.size(), 10u);
    EXPECT_EQ(TC::titleLabelPatterns.size(), 2u);
    EXPECT_EQ(TC::noActionItemsPatterns.size(), 5u);
    EXPECT_EQ(TC::actionItemMetaPatterns.size(), 19u);
}

TEST(TextCleaning, CleansWhisperTokensBlankAudioAndDoubleSpaces) {
    struct Case {
        std::string in, out;
    };
    for (const auto& c : std::vector<Case>{
             {"<|en|><|transcribe|> Hello   world [BLANK_AUDIO] ", "Hello world"},
             {"[BLANK_AUDIO]", ""},
             {"  keep\nlines  ", "keep\nlines"},
             {"a <|x|>  <|y|> b", "a b"},
             {"<|not closed", "<|not closed"},
         }) {
        EXPECT_EQ(TC::cleanWhisperTokens(c.in), c.out) << c.in;
    }
}

TEST(TextCleaning, SanitizesModelResponsesInOrder) {
    struct Case {
        std::string in, out;
    };
    for (const auto& c : std::vector<Case>{
             {"<think>hmm</think>\r\nWeekly Sync\rNext<|im_end|>", "Weekly Sync\nNext"},
             {"Budget Review end of turn", "Budget Review"},
             {"Budget Review END_OF_TURN\n", "Budget Review"},
             {"Weekend offsite", "Weekend offsite"},
             {"  \n ", ""},
         }) {
        EXPECT_EQ(TC::sanitizeModelResponse(c.in), c.out) << c.in;
    }
}

TEST(TextCleaning, NormalizesTitleLines) {
    struct Case {
        std::string in, out;
    };
    for (const auto& c : std::vector<Case>{
             {"Title: Weekly Sync", "Weekly Sync"},
             {"Here is a concise title: Budget Review", "Budget Review"},
             {"## **Quarterly Planning**", "Quarterly Planning"},
             {"1. \"Hiring Plan Review\"", "Hiring Plan Review"},
             {"- “Roadmap Deep Dive”", "Roadmap Deep Dive"},
             {"> `Design   Review`", "Design Review"},
             {"Option 2: Launch Retro", "Launch Retro"},
             {"Based on the transcript: Team Offsite Plans", "Team Offsite Plans"},
             {"   ", ""},
             {"...", ""},
         }) {
        EXPECT_EQ(TC::normalizeTitleCandidate(c.in), c.out) << c.in;
    }
}

TEST(TextCleaning, AcceptsOnlyShortPlainTitles) {
    for (std::string good : {"Weekly Sync", "Budget Review for Q3", "Café Opening Plan"}) {
        EXPECT_TRUE(TC::isValidTitleCandidate(good)) << good;
    }
    for (const std::string& bad : std::vector<std::string>{"Summary",
                                                           "Sync",
                                                           "Meeting Summary",
                                                           "no title",
                                                           "a b c d e f g h i",
                                                           "Why this meeting?",
                                                           "Great news!",
                                                           "Topic: budget",
                                                           "Line one\nline two",
                                                           "This meeting covered budgets",
                                                           "I suggest Budget Review",
                                                           "Okay, Budget Review",
                                                           "Please summarize this",
                                                           "I'm not sure",
                                                           "Thank you.",
                                                           "Here is the title",
                                                           "Unfortunately no title",
                                                           "Sync end of turn",
                                                           "ab",
                                                           std::string(101, 'x') + " y"}) {
        EXPECT_FALSE(TC::isValidTitleCandidate(bad)) << bad;
    }
}

TEST(TextCleaning, PicksTheFirstAcceptableTitleFromAResponse) {
    struct Case {
        std::string in;
        std::optional<std::string> out;
    };
    for (const auto& c : std::vector<Case>{
             {"Summary\nSync\nTitle: Weekly Sync", "Weekly Sync"},
             {"<think>Let me think</think>\n**Budget Review Meeting**", "Budget Review Meeting"},
             {"Sure, here it is:\n\nHiring Plan Review", "Hiring Plan Review"},
             {"Summary", std::nullopt},
             {"", std::nullopt},
             {"What should the title be?", std::nullopt},
         }) {
        EXPECT_EQ(TC::cleanTitleResponse(c.in), c.out) << c.in;
    }
}

TEST(TextCleaning, NormalizesActionItemLines) {
    struct Case {
        std::string in;
        std::optional<std::string> out;
    };
    for (const auto& c : std::vector<Case>{
             {"- **Send the deck** to Ana.", "Send the deck to Ana"},
             {"* TODO: book the room", "book the room"},
             {"2) Action item: \"Update the roadmap\"", "Update the roadmap"},
             {"Should we move the meeting?", std::nullopt},
             {"- Deploy", std::nullopt},
             {"Action Items:", std::nullopt},
             {"Here are the action items from the meeting", std::nullopt},
             {"I need more information to help", std::nullopt},
             {"Please provide the full transcript", std::nullopt},
             {"Left out: the last ten minutes", std::nullopt},
             {"   ", std::nullopt},
         }) {
        EXPECT_EQ(TC::normalizeActionItemCandidate(c.in), c.out) << c.in;
    }
}

TEST(TextCleaning, BuildsADeduplicatedActionItemList) {
    EXPECT_EQ(TC::cleanActionItemsResponse("Here are the action items:\n```\n- [] Send the deck to Ana.\n"
                                           "- send the deck to ana\n2. Book the room for Friday\n```"),
              std::optional<std::string>("- Send the deck to Ana\n- Book the room for Friday"));
    EXPECT_EQ(TC::cleanActionItemsResponse("No action items were found.\n- Send the deck to Ana"),
              std::nullopt);
    EXPECT_EQ(TC::cleanActionItemsResponse("There are no clear action items."), std::nullopt);
    EXPECT_EQ(TC::cleanActionItemsResponse("Sure!\nLet me know if you need more."), std::nullopt);
    EXPECT_EQ(TC::cleanActionItemsResponse(""), std::nullopt);
}

TEST(TextCleaning, RendersMarkdownWithStyledRuns) {
    using AS = UI::AttributedString;
    auto rendered = TC::markdownAttributedString("# Plan\n- **Ship** it\n1. use `make`\nsnake_case _stays_");
    EXPECT_EQ(rendered.text, "Plan\n• Ship it\n1. use make\nsnake_case stays");
    auto styleAt = [&](std::size_t byte) {
        for (const auto& run : rendered.runs) {
            if (byte >= run.start && byte < run.start + run.length) {
                return run.styles;
            }
        }
        return 999u;
    };
    EXPECT_EQ(styleAt(rendered.text.find("Plan")), unsigned(AS::heading));
    EXPECT_EQ(styleAt(rendered.text.find("Ship")), unsigned(AS::listItem | AS::bold));
    EXPECT_EQ(styleAt(rendered.text.find("make")), unsigned(AS::listItem | AS::code));
    EXPECT_EQ(styleAt(rendered.text.find("snake")), unsigned(AS::plain));
    EXPECT_EQ(styleAt(rendered.text.find("stays")), unsigned(AS::italic));
    EXPECT_EQ(TC::markdownAttributedString("**open only").text, "**open only");
}

#include "UI/ai/AIGenerationService.h"

#include "Support/Text.h"

#include <gtest/gtest.h>

using UI::AIGenerationService;
using Event = AIGenerationService::CalendarEvent;
using Source = AIGenerationService::TitleSource;
namespace Text = Support::Text;

TEST(AIGenerationServiceTitleSource, UsesTheTranscriptWholeUpToTheBudgetThenTheSummary) {
    const size_t reserved = 100;
    const std::string fits(8000 - reserved, 'a');
    const std::string tooLong(8000 - reserved + 1, 'a');
    struct Case {
        std::string transcript;
        std::optional<std::string> summary;
        Source expected;
    };
    const std::vector<Case> cases = {
        {fits, "Summary", {Source::Kind::transcript, fits}},
        {tooLong, "  Summary \n", {Source::Kind::summary, "Summary"}},
        {tooLong,
         "[No summary available]",
         {Source::Kind::transcript, AIGenerationService::sampleTranscript(tooLong, 7900)}},
        {"  \n ", "Summary", {Source::Kind::summary, "Summary"}},
        {"", "  [No transcript]", {}},
        {"", std::nullopt, {}},
        {"  hello  ", std::nullopt, {Source::Kind::transcript, "hello"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AIGenerationService::titleSource(c.transcript, c.summary, reserved), c.expected)
            << c.transcript.size() << " " << c.summary.value_or("(none)");
    }
    EXPECT_EQ(AIGenerationService::titleSource("ab", std::nullopt, 9000).text,
              AIGenerationService::sampleTranscript("ab", 1))
        << "the budget never drops below one character";
}

TEST(AIGenerationServiceSampleTranscript, TakesTheStartMiddleAndEndWithinTheBudget) {
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += static_cast<char>('a' + i % 26);
    }
    EXPECT_EQ(AIGenerationService::sampleTranscript(text, 300), text);
    const auto sample = AIGenerationService::sampleTranscript(text, 120);
    // chunk = (120 - 60) / 3 = 20; the middle starts at 150 - 10 = 140.
    EXPECT_EQ(sample, text.substr(0, 20) + "\n...[middle]...\n" + text.substr(140, 20) + "\n...[end]...\n" +
                          text.substr(280, 20));
    EXPECT_LE(Text::graphemeCount(sample), 120u);
    EXPECT_EQ(AIGenerationService::sampleTranscript(text, 62),
              "a\n...[middle]...\n" + text.substr(150, 1) + "\n...[end]...\n" + text.substr(299, 1));
    const std::string accents = "é" + std::string(200, 'x') + "ü";
    const auto cut = AIGenerationService::sampleTranscript(accents, 90);
    EXPECT_TRUE(Text::startsWith(cut, "éxxxxxxxx"));
    EXPECT_TRUE(Text::endsWith(cut, "xxxxxxxxü"));
}

TEST(AIGenerationServiceTranscriptSample, KeepsShortTextsAndSamplesLongOnes) {
    const std::string shortText(14000, 's');
    EXPECT_EQ(AIGenerationService::transcriptSample(shortText), shortText);
    std::string longText = std::string(8000, 'a') + std::string(1, 'X') + std::string(6000, 'b');
    ASSERT_EQ(longText.size(), 14001u);
    const auto sample = AIGenerationService::transcriptSample(longText);
    // The middle starts at 14001 / 2 - 2000 = 5000.
    EXPECT_EQ(sample,
              longText.substr(0, 8000) + "\n" + longText.substr(5000, 4000) + "\n" + longText.substr(12001));
}

TEST(AIGenerationServicePreamble, DescribesTheCalendarEventWithItsAgendaCut) {
    EXPECT_EQ(AIGenerationService::eventTitlePreamble(std::nullopt), "");
    EXPECT_EQ(AIGenerationService::eventTitlePreamble(Event{" \n\t ", "notes"}), "");
    EXPECT_EQ(AIGenerationService::eventTitlePreamble(Event{"  Weekly\n sync   with\tDana ", std::nullopt}),
              "Scheduled calendar event: \"Weekly sync with Dana\".\nPrefer what the conversation was "
              "actually about; "
              "reuse the event's words when they describe it.\n\n");

    const std::string agenda400(400, 'g');
    const std::string agenda401(401, 'g');
    const auto keep = AIGenerationService::eventTitlePreamble(Event{"Plan", agenda400});
    EXPECT_NE(keep.find("\nAgenda: " + agenda400 + "\n"), std::string::npos);
    const auto cut = AIGenerationService::eventTitlePreamble(Event{"Plan", agenda401});
    EXPECT_NE(cut.find("\nAgenda: " + std::string(399, 'g') + "…\n"), std::string::npos);

    const auto longTitle =
        AIGenerationService::eventTitlePreamble(Event{std::string(250, 't'), std::nullopt});
    EXPECT_NE(longTitle.find("\"" + std::string(200, 't') + "\"."), std::string::npos);
    EXPECT_EQ(longTitle.find(std::string(201, 't')), std::string::npos);
}

TEST(AIGenerationServiceSummaryTitleContext, HoldsPreambleAndSummaryToTwoThousandCharacters) {
    const Event event{"Roadmap", std::nullopt};
    const auto preamble = AIGenerationService::eventTitlePreamble(event);
    const std::string shortSummary = "We agreed on the Q3 roadmap.";
    EXPECT_EQ(AIGenerationService::summaryTitleContext(shortSummary, event), preamble + shortSummary);
    const std::string longSummary(5000, 's');
    const auto context = AIGenerationService::summaryTitleContext(longSummary, event);
    EXPECT_LE(Text::graphemeCount(context), 2000u);
    EXPECT_TRUE(Text::startsWith(context, preamble));
    EXPECT_EQ(AIGenerationService::summaryTitleContext(shortSummary, std::nullopt), shortSummary);
}

TEST(AIGenerationServiceTitleBudget, KeepsATenHourTranscriptWithinTheTitleBudget) {
    std::string transcript;
    for (int i = 0; i < 7200; ++i) {
        transcript +=
            "Alice (" + std::to_string(i) + "): we should revisit the rollout plan before Friday.\n";
    }
    const auto preamble = AIGenerationService::eventTitlePreamble(Event{"Planning", std::string(1000, 'a')});
    const auto reserved = Text::graphemeCount(preamble);
    const auto source = AIGenerationService::titleSource(transcript, std::nullopt, reserved);
    EXPECT_EQ(source.kind, Source::Kind::transcript);
    EXPECT_LE(Text::graphemeCount(preamble + source.text), AIGenerationService::titleBudget);
    EXPECT_LE(Text::graphemeCount(AIGenerationService::transcriptSample(transcript)), 14002u);
}

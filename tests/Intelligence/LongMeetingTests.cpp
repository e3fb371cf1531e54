#include "Fakes/FakeAIProvider.h"

#include "Intelligence/LongMeeting.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "Support/Text.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

using namespace Intelligence;
using namespace std::chrono_literals;

namespace {

/// About 600,000 characters: ten hours of two people talking, a line every five seconds.
std::string tenHourTranscript() {
    std::string text;
    for (int second = 0; second < 10 * 3600; second += 5) {
        text += fmt::format("{} ({}:{:02}:{:02}): we should revisit the rollout plan for item {} before "
                            "Friday, naïvely speaking.\n",
                            second % 10 == 0 ? "Alice" : "Bob", second / 3600, second / 60 % 60, second % 60,
                            second);
    }
    return text;
}

} // namespace

TEST(LongMeeting, CutsATranscriptIntoPartsWithinTheBudgetWithoutLosingText) {
    const std::string transcript = "aaaa\nbb\n" + std::string(11, 'c') + "\nd";
    const auto parts = LongMeeting::splitIntoParts(transcript, 5);
    EXPECT_EQ(parts, (std::vector<std::string>{"aaaa", "bb", "ccccc", "ccccc", "c\nd"}));
    EXPECT_TRUE(LongMeeting::splitIntoParts("", 5).empty());
    EXPECT_EQ(LongMeeting::joinWithinBudget({"12345", "67890"}, 8), "123\n\n678");
}

TEST(LongMeeting, NeverPutsMoreThanThePartBudgetOfATenHourMeetingIntoOnePrompt) {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler(loop, Support::dateFromUnix(0));
    Platform::CurlHttpClient http;
    Fakes::FakeAIProvider provider;
    provider.setDefault({{std::string(3000, 'n')}});
    AIProviderSettings settings;
    settings.provider = AIProvider::openAICompatible;
    settings.openAIBaseURL = provider.baseURL();
    AIService ai(http, scheduler, settings, {"key", ""});

    const auto transcript = tenHourTranscript();
    ASSERT_GT(Support::Text::graphemeCount(transcript), 500'000u);
    std::vector<GenerationProgress> reports;
    auto stream =
        LongMeeting::summary(ai, transcript, SummaryTemplate::defaultTemplate(), SummaryBrief::standard(),
                             LLMEngine::GenerationParameters::summary(), "s", LLMExecutionMode::background,
                             [&](const GenerationProgress& p) { reports.push_back(p); });
    auto all = TextStream::collect(stream);
    const auto giveUp = std::chrono::steady_clock::now() + 60s;
    while (!all.isDone() && std::chrono::steady_clock::now() < giveUp) {
        loop.runOne(20);
    }
    ASSERT_TRUE(all.isDone());
    EXPECT_EQ(all.get(), std::string(3000, 'n'));

    const auto sent = provider.generationRequests();
    ASSERT_GT(sent.size(), 20u);
    for (const auto& r : sent) {
        // The instruction is a few hundred characters; the meeting text after it is held to the budget.
        const std::string user = r.json()["messages"][1]["content"];
        EXPECT_LE(Support::Text::graphemeCount(user), LongMeeting::partBudget + 1000);
    }
    ASSERT_EQ(reports.size(), sent.size());
    EXPECT_EQ(reports.front(), (GenerationProgress{GenerationProgress::Stage::perPart, 1,
                                                   static_cast<int>(sent.size()) - 1, false}));
    EXPECT_EQ(reports.back().stage, GenerationProgress::Stage::finalCombined);
}

TEST(LongMeetingResult, SplitsACombinedAnswerAtItsMarkers) {
    const std::string answer =
        "=== SUMMARY ===\n## Overview\nBudget talk.\n=== ACTION ITEMS ===\n- Dana: send it\n";
    EXPECT_EQ(LongMeetingResult::parse(answer, true, true),
              (LongMeetingResult{"## Overview\nBudget talk.", "- Dana: send it"}));
    EXPECT_EQ(LongMeetingResult::parse("Just a summary", true, true),
              (LongMeetingResult{"Just a summary", std::nullopt}));
    EXPECT_EQ(LongMeetingResult::parse("=== ACTION ITEMS ===\n", true, true), (LongMeetingResult{}));
}

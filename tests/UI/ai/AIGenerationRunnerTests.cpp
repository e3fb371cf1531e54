// The job bodies end to end: the live client over the engine, a loopback provider streaming server-sent
// events, and an in-memory SQLite library.
#include "Fakes/FakeAIProvider.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/ai/AIGenerationRunner.h"
#include "UI/ai/AIGenerationService.h"
#include "UI/ai/AIModelWaitCopy.h"
#include "UI/ai/ProcessingType.h"
#include "UI/library/LibraryNotifications.h"

#include <gtest/gtest.h>

using namespace UI;
using namespace std::chrono_literals;
using Kind = AIGenerationJobs::Kind;
using Outcome = AIGenerationJobs::Outcome;
using Script = Fakes::FakeAIProvider::Script;

namespace {

struct Fixture {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Platform::CurlHttpClient http;
    Fakes::FakeAIProvider provider;
    Database::SqliteDatabase database{":memory:"};
    std::unique_ptr<Intelligence::AIService> ai;
    Support::NotificationCenter center;
    AIGenerationJobs jobs{center};
    std::vector<AIGenerationJobs::JobEnd> ends;
    Support::Subscription endSubscription;
    Database::RecordingId recordingId = 0;

    Fixture() {
        Intelligence::AIProviderSettings settings;
        settings.provider = Intelligence::AIProvider::openAICompatible;
        settings.openAIBaseURL = provider.baseURL();
        ai = std::make_unique<Intelligence::AIService>(http, scheduler, settings,
                                                       Intelligence::AIKeys{"k", ""});
        endSubscription =
            jobs.presenter.connect([this](const AIGenerationJobs::JobEnd& e) { ends.push_back(e); });
        Database::DatabaseManager::Recording r;
        r.title = "Recording 1";
        r.participants = {"Dana Scully", "Speaker 2"};
        recordingId = database.insertRecording(r);
        database.saveTranscript(
            recordingId, {{0, 0, 0, 5, "Let's go over the travel budget for next quarter.", "Dana", false},
                          {0, 0, 6, 9, "I'll send the revised numbers by Friday.", "Fox", false}});
    }

    AIGenerationClient client() { return AIGenerationClient::live(database, *ai); }

    void startTitle(AIGenerationRunner::Display display = {}) {
        auto c = client();
        jobs.startWithToken(Kind::title, recordingId, [this, c, display](AIGenerationJobs::Token token) {
            return AIGenerationRunner::title(recordingId, token, c, database, jobs, display);
        });
    }

    template <typename Predicate> void runUntil(Predicate done) {
        const auto giveUp = std::chrono::steady_clock::now() + 20s;
        while (!done() && std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(10);
        }
        ASSERT_TRUE(done()) << "timed out";
    }
};

} // namespace

TEST(AIGenerationRunner, WritesACleanedTitleFromTheStreamIntoTheLibrary) {
    Fixture f;
    f.provider.enqueue(Script{
        {"<think>They talk", " about money</think>", "Title: \"Travel ", "Budget Review\"<|im_end|>"}});
    std::string streamed;
    AIGenerationRunner::Display display;
    display.onText = [&](const std::string& text) { streamed = text; };
    f.startTitle(display);
    f.runUntil([&] { return !f.ends.empty(); });

    EXPECT_EQ(f.ends[0], (AIGenerationJobs::JobEnd{Kind::title, f.recordingId,
                                                   Outcome::finished("Travel Budget Review", true)}));
    EXPECT_EQ(f.database.recording(f.recordingId)->title, "Travel Budget Review");
    EXPECT_NE(streamed.find("Budget Review"), std::string::npos);

    const auto sent = f.provider.generationRequests();
    ASSERT_EQ(sent.size(), 1u);
    const auto body = sent[0].json();
    EXPECT_EQ(body["messages"][0]["content"], AIGenerationService::titleSystemPrompt);
    const std::string user = body["messages"][1]["content"];
    EXPECT_EQ(user.rfind(AIGenerationService::titleFromTranscriptInstruction, 0), 0u);
    EXPECT_NE(user.find("Dana (0:00): Let's go over the travel budget"), std::string::npos);
}

TEST(AIGenerationRunner, NeverLetsASupersededTitleJobsLateTokensLand) {
    Fixture f;
    Script slow;
    slow.fragments = {"Old ", "Stale Title Words"};
    slow.holdAfter = 1;
    f.provider.enqueue(slow);
    f.provider.enqueue(Script{{"Fresh Budget Title"}});
    std::vector<std::string> firstFragments;
    AIGenerationRunner::Display firstDisplay;
    firstDisplay.onFragment = [&](const std::string& fragment) { firstFragments.push_back(fragment); };
    f.startTitle(firstDisplay);
    f.runUntil([&] { return firstFragments.size() == 1; });

    f.startTitle();
    f.runUntil([&] { return !f.ends.empty(); });
    f.provider.release();
    f.runUntil([&] { return f.http.activeTransfers() == 0; });
    f.loop.runUntilIdle();

    EXPECT_EQ(firstFragments, (std::vector<std::string>{"Old "}));
    ASSERT_EQ(f.ends.size(), 1u);
    EXPECT_EQ(f.ends[0].outcome, Outcome::finished("Fresh Budget Title", true));
    EXPECT_EQ(f.database.recording(f.recordingId)->title, "Fresh Budget Title");
}

TEST(AIGenerationRunner, CancellingMidStreamStopsTheTransferAndStoresNothing) {
    Fixture f;
    Script slow;
    slow.fragments = {"## Overview\n", "Budget talk.", std::string(100, 'x')};
    slow.holdAfter = 1;
    f.provider.enqueue(slow);
    std::string streamed;
    AIGenerationRunner::Display display;
    display.onText = [&](const std::string& text) { streamed = text; };
    auto c = f.client();
    f.jobs.startWithToken(Kind::summary, f.recordingId, [&f, c, display](AIGenerationJobs::Token token) {
        return AIGenerationRunner::summary(f.recordingId, token, std::nullopt, c, f.database, f.jobs,
                                           display);
    });
    f.runUntil([&] { return !streamed.empty(); });
    EXPECT_EQ(f.http.activeTransfers(), 1u);

    LibraryNotifications::postRecordingDeleted(f.center, f.recordingId);
    f.runUntil([&] { return f.http.activeTransfers() == 0; });
    f.provider.release();
    f.loop.runUntilIdle();

    EXPECT_EQ(streamed, "## Overview\n");
    EXPECT_TRUE(f.ends.empty());
    EXPECT_FALSE(f.jobs.isRunning(Kind::summary, f.recordingId));
    EXPECT_EQ(f.database.recording(f.recordingId)->summary, std::nullopt);
}

TEST(AIGenerationRunner, FailsASummaryWhoseStreamBreaksHalfWayAndKeepsTheOldOne) {
    Fixture f;
    f.database.saveSummary(f.recordingId, "Earlier summary");
    Script broken;
    broken.fragments = {"## Overview\n", "Half of it"};
    broken.breakAfter = 1;
    f.provider.enqueue(broken);
    auto c = f.client();
    f.jobs.startWithToken(Kind::summary, f.recordingId, [&f, c](AIGenerationJobs::Token token) {
        return AIGenerationRunner::summary(f.recordingId, token, std::nullopt, c, f.database, f.jobs);
    });
    f.runUntil([&] { return !f.ends.empty(); });
    ASSERT_EQ(f.ends[0].outcome.kind, Outcome::Case::failed);
    EXPECT_TRUE(AIModelWaitCopy::isUnavailableMessage(f.ends[0].outcome.message))
        << f.ends[0].outcome.message;
    EXPECT_EQ(f.database.recording(f.recordingId)->summary, "Earlier summary");
    EXPECT_EQ(f.jobs.takeFailureFinishedAway(Kind::summary, f.recordingId), f.ends[0].outcome.message);
}

TEST(AIGenerationRunner, StoresFilteredActionItemsAndSkipsTheModelWhenItemsExist) {
    Fixture f;
    f.provider.enqueue(Script{{"Here are the action items:\n- Fox: send the revised numbers by Friday\n",
                               "- Fox: send the revised numbers by Friday\n2. Dana: book the venue\n"}});
    std::vector<Database::DatabaseManager::ActionItem> shown;
    AIGenerationRunner::Display display;
    display.onActionItems = [&](const auto& items) { shown = items; };
    auto c = f.client();
    auto start = [&](bool force) {
        f.jobs.startWithToken(Kind::actionItems, f.recordingId,
                              [&f, c, display, force](AIGenerationJobs::Token token) {
                                  return AIGenerationRunner::actionItems(f.recordingId, token, force, c,
                                                                         f.database, f.jobs, display);
                              });
    };
    start(false);
    f.runUntil([&] { return f.ends.size() == 1; });
    const auto stored = AIGenerationRunner::persistedActionItems(f.recordingId, f.database);
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0].text, "Fox: send the revised numbers by Friday");
    EXPECT_EQ(stored[1].text, "Dana: book the venue");
    EXPECT_EQ(shown, stored);
    const std::string query = f.provider.generationRequests()[0].json()["messages"][1]["content"];
    EXPECT_NE(query.find("People in the meeting: Dana Scully, Dana, Fox."), std::string::npos) << query;

    start(false);
    f.runUntil([&] { return f.ends.size() == 2; });
    EXPECT_EQ(f.provider.generationRequests().size(), 1u) << "stored items are not asked for again";
    EXPECT_EQ(f.ends[1].outcome, Outcome::finished(std::nullopt, false));
}

TEST(AIGenerationRunner, EndsWithTheWaitTextWhenNoModelIsConfigured) {
    Fixture f;
    f.ai->configure({}, {});
    std::vector<Support::Notification> posted;
    auto sub = f.center.observe(ProcessingNotifications::processingStarted,
                                [&](const Support::Notification& n) { posted.push_back(n); });
    f.startTitle();
    f.runUntil([&] { return !f.ends.empty(); });
    EXPECT_EQ(f.ends[0].outcome,
              Outcome::failed("AI model not configured. Go to Settings to set up an AI model."));
    EXPECT_TRUE(f.provider.requests().empty());
    EXPECT_TRUE(posted.empty());
}

TEST(AIGenerationRunner, RunsSummaryAndActionItemsOfANewRecordingAsOneRequest) {
    Fixture f;
    f.provider.enqueue(Script{
        {"=== SUMMARY ===\n## Overview\nTravel budget.\n", "=== ACTION ITEMS ===\n- Fox: send numbers\n"}});
    AIGenerationRunner::startAutomatic(f.recordingId, true, true, false, f.jobs, f.client(), f.database,
                                       *f.ai);
    f.runUntil([&] { return f.ends.size() == 2; });
    EXPECT_EQ(f.database.recording(f.recordingId)->summary, "## Overview\nTravel budget.");
    ASSERT_EQ(f.database.actionItems(f.recordingId).size(), 1u);
    EXPECT_EQ(f.database.actionItems(f.recordingId)[0].text, "Fox: send numbers");
    EXPECT_EQ(f.provider.generationRequests().size(), 1u);
}

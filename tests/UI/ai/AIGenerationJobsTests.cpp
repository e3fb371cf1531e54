// The job register with scripted job bodies: supersession, cancellation by recording and at quit, failures
// kept for a view, and the processing notifications.
#include "UI/ai/AIGenerationJobs.h"

#include "Support/MainLoop.h"
#include "UI/ai/ProcessingType.h"
#include "UI/library/LibraryNotifications.h"

#include <gtest/gtest.h>

using UI::AIGenerationJobs;
using Kind = AIGenerationJobs::Kind;
using Outcome = AIGenerationJobs::Outcome;
using Support::Task;

namespace {

struct Fixture {
    Support::MainLoop loop;
    Support::NotificationCenter center;
    AIGenerationJobs jobs{center};
    std::vector<AIGenerationJobs::JobEnd> ends;
    std::vector<Support::Notification> posted;
    Support::SubscriptionBag subscriptions;

    Fixture() {
        subscriptions +=
            jobs.presenter.connect([this](const AIGenerationJobs::JobEnd& e) { ends.push_back(e); });
        for (const char* name : {UI::ProcessingNotifications::processingStarted,
                                 UI::ProcessingNotifications::processingCompleted}) {
            subscriptions +=
                center.observe(name, [this](const Support::Notification& n) { posted.push_back(n); });
        }
    }

    /// A job that waits until `gate` is resumed, then finishes with `result`.
    void startGated(Kind kind, Database::RecordingId id,
                    std::shared_ptr<std::optional<Support::Continuation<void>>> gate, std::string result) {
        jobs.startWithToken(
            kind, id, [this, kind, id, gate, result](AIGenerationJobs::Token token) -> Task<void> {
                auto held =
                    Support::withContinuation<void>([gate](Support::Continuation<void> c) { *gate = c; });
                co_await held;
                jobs.finish({kind, id}, token, Outcome::finished(result, true));
            });
    }
};

} // namespace

TEST(AIGenerationJobs, ASecondStartSupersedesTheFirstWhoseLateResultIsIgnored) {
    Fixture f;
    auto first = std::make_shared<std::optional<Support::Continuation<void>>>();
    auto second = std::make_shared<std::optional<Support::Continuation<void>>>();
    f.startGated(Kind::summary, 7, first, "first");
    f.loop.runUntilIdle();
    const auto firstToken = f.jobs.token(Kind::summary, 7);
    f.startGated(Kind::summary, 7, second, "second");
    f.loop.runUntilIdle();
    EXPECT_NE(f.jobs.token(Kind::summary, 7), firstToken);
    ASSERT_TRUE(first->has_value());
    EXPECT_FALSE((*first)->resume()) << "the first task was cancelled";
    // Even a direct report with the old token is ignored.
    f.jobs.finish({Kind::summary, 7}, *firstToken, Outcome::failed("late"));
    EXPECT_TRUE(f.ends.empty());
    EXPECT_TRUE(f.jobs.isRunning(Kind::summary, 7));

    (*second)->resume();
    f.loop.runUntilIdle();
    ASSERT_EQ(f.ends.size(), 1u);
    EXPECT_EQ(f.ends[0], (AIGenerationJobs::JobEnd{Kind::summary, 7, Outcome::finished("second", true)}));
    EXPECT_FALSE(f.jobs.isRunning(Kind::summary, 7));
    EXPECT_EQ(f.jobs.takeResultFinishedAway(Kind::summary, 7), "second");
    EXPECT_EQ(f.jobs.takeFailureFinishedAway(Kind::summary, 7), std::nullopt);
}

TEST(AIGenerationJobs, DeletingARecordingCancelsItsJobsOfEveryKindAndForgetsItsFailures) {
    Fixture f;
    f.jobs.startWithToken(Kind::title, 3, [&f](AIGenerationJobs::Token token) -> Task<void> {
        f.jobs.finish({Kind::title, 3}, token, Outcome::failed("AI error: boom"));
        co_return;
    });
    f.loop.runUntilIdle();
    ASSERT_EQ(f.ends.size(), 1u);
    std::vector<std::shared_ptr<std::optional<Support::Continuation<void>>>> gates;
    for (auto kind : AIGenerationJobs::allKinds) {
        gates.push_back(std::make_shared<std::optional<Support::Continuation<void>>>());
        f.startGated(kind, 3, gates.back(), "x");
    }
    auto other = std::make_shared<std::optional<Support::Continuation<void>>>();
    f.startGated(Kind::summary, 4, other, "kept");
    f.loop.runUntilIdle();
    EXPECT_EQ(f.jobs.takeFailureFinishedAway(Kind::title, 3), std::nullopt)
        << "a new start drops the old failure";

    f.jobs.finish({Kind::actionItems, 3}, *f.jobs.token(Kind::actionItems, 3),
                  Outcome::failed("AI error: x"));
    UI::LibraryNotifications::postRecordingDeleted(f.center, 3);
    f.loop.runUntilIdle();
    for (auto kind : AIGenerationJobs::allKinds) {
        EXPECT_FALSE(f.jobs.isRunning(kind, 3));
        EXPECT_EQ(f.jobs.takeFailureFinishedAway(kind, 3), std::nullopt);
    }
    EXPECT_TRUE(f.jobs.isRunning(Kind::summary, 4));
    EXPECT_EQ(f.ends.size(), 2u) << "cancelled jobs deliver nothing";
}

TEST(AIGenerationJobs, StoppingCancelsEveryJobSilentlyAndLeavesTheRegisterUsable) {
    Fixture f;
    std::vector<std::shared_ptr<std::optional<Support::Continuation<void>>>> gates;
    for (Database::RecordingId id : {1, 2}) {
        gates.push_back(std::make_shared<std::optional<Support::Continuation<void>>>());
        f.startGated(Kind::summary, id, gates.back(), "x");
    }
    f.loop.runUntilIdle();
    const auto postedBefore = f.posted.size();

    f.jobs.stop();
    f.loop.runUntilIdle();
    for (auto& gate : gates) {
        ASSERT_TRUE(gate->has_value());
        EXPECT_FALSE((*gate)->resume()) << "the job's body was cancelled";
    }
    EXPECT_FALSE(f.jobs.isRunning(Kind::summary, 1));
    EXPECT_FALSE(f.jobs.isRunning(Kind::summary, 2));
    EXPECT_TRUE(f.ends.empty());
    EXPECT_EQ(f.posted.size(), postedBefore) << "a quit posts nothing";

    auto again = std::make_shared<std::optional<Support::Continuation<void>>>();
    f.startGated(Kind::title, 1, again, "after");
    f.loop.runUntilIdle();
    (*again)->resume();
    f.loop.runUntilIdle();
    ASSERT_EQ(f.ends.size(), 1u);
    EXPECT_EQ(f.ends[0].outcome, Outcome::finished("after", true));
}

TEST(AIGenerationJobs, KeepsAFailureUntilAViewTakesItAndReportsProcessing) {
    Fixture f;
    f.jobs.startWithToken(Kind::actionItems, 9, [](AIGenerationJobs::Token) -> Task<void> {
        throw Support::UserFacingError("AI error: Rate limited (429). Try again later.");
        co_return;
    });
    f.loop.runUntilIdle();
    ASSERT_EQ(f.ends.size(), 1u);
    EXPECT_EQ(f.ends[0].outcome, Outcome::failed("AI error: Rate limited (429). Try again later."));
    EXPECT_EQ(f.jobs.takeFailureFinishedAway(Kind::actionItems, 9),
              "AI error: Rate limited (429). Try again later.");
    EXPECT_EQ(f.jobs.takeFailureFinishedAway(Kind::actionItems, 9), std::nullopt);

    ASSERT_EQ(f.posted.size(), 2u);
    EXPECT_EQ(f.posted[0].name, "Vellmora.processingStarted");
    EXPECT_EQ(
        f.posted[0].userInfo,
        (Support::UserInfo{{"recordingId", "9"}, {"type", "actionItems"}, {"waitingForModel", "false"}}));
    EXPECT_EQ(f.posted[1].name, "Vellmora.processingCompleted");
    EXPECT_EQ(f.posted[1].value("error"), "AI error: Rate limited (429). Try again later.");

    f.posted.clear();
    f.jobs.startWithToken(Kind::title, 9, [&f](AIGenerationJobs::Token token) -> Task<void> {
        f.jobs.finish({Kind::title, 9}, token, Outcome::finished(std::nullopt, false));
        co_return;
    });
    f.loop.runUntilIdle();
    EXPECT_TRUE(f.posted.empty()) << "titles are not processing the menu shows";
}

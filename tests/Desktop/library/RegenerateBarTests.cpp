#include "Desktop/library/RegenerateBar.h"

#include "../DesktopTestSupport.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Desktop/library/RecordingPage.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"
#include "UI/ai/ModelNotReadyError.h"

#include <QLabel>
#include <QPushButton>
#include <QTextBrowser>

#include <gtest/gtest.h>

namespace {

using Kind = UI::AIGenerationJobs::Kind;
using Reason = Intelligence::AIService::GenerationUnavailableReason;

// A recording's page over an in-memory library, with the AI answered by a script: the summary reports one
// stage of a long transcript, then waits until the test lets it write its text.
struct RegenerateTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'795'003'200)};
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    Database::SqliteDatabase db{":memory:"};
    UI::AIGenerationJobs jobs{center};
    std::optional<Reason> unavailable;
    bool aiSetUp = true;
    std::shared_ptr<std::optional<Support::Continuation<void>>> held =
        std::make_shared<std::optional<Support::Continuation<void>>>();
    Database::RecordingId id = 0;
    std::unique_ptr<Desktop::RecordingPage> page;

    UI::AIGenerationClient client() {
        UI::AIGenerationClient c;
        if (unavailable) {
            c.waitUntilReady = [reason = *unavailable](std::function<void()>) {
                return Support::startTask([reason]() -> Support::Task<void> {
                    throw UI::ModelNotReadyError(reason);
                    co_return;
                });
            };
        } else {
            c.waitUntilReady = [](std::function<void()>) -> Support::Task<void> { co_return; };
        }
        c.summary = [held = held](Database::RecordingId, Intelligence::ProgressHandler progress) {
            return Intelligence::TextStream::make(
                [held, progress](Intelligence::TextStream::Sink out) -> Support::Task<void> {
                    progress({Intelligence::GenerationProgress::Stage::perPart, 2, 5, false});
                    co_await Support::withContinuation<void>(
                        [held](Support::Continuation<void> c) { *held = c; });
                    out.yield("The team chose the offline mode first.");
                });
        };
        c.indexSummary = [](Database::RecordingId) -> Support::Task<void> { co_return; };
        return c;
    }

    void open() {
        Database::DatabaseManager::Recording r;
        r.title = "Planning";
        r.startDate = scheduler.now();
        r.duration = 600;
        id = db.insertRecording(r);
        auto recording = *db.recording(id);
        page = std::make_unique<Desktop::RecordingPage>(
            recording, Desktop::RecordingPage::Context{db,
                                                       defaults,
                                                       scheduler,
                                                       {"en_US", "UTC"},
                                                       {},
                                                       &jobs,
                                                       [this]() -> std::optional<UI::AIGenerationClient> {
                                                           if (!aiSetUp) {
                                                               return std::nullopt;
                                                           }
                                                           return client();
                                                       }});
        page->show();
        settle();
    }
    void settle() { DesktopTest::settle(loop); }
    Desktop::RegenerateBar& bar() { return *page->regenerateBar(); }
    std::string progress() {
        return bar().progress()->isVisibleTo(page.get()) ? bar().progress()->text().toStdString() : "";
    }
    std::string failure() {
        return bar().failure()->isVisibleTo(page.get()) ? bar().failure()->text().toStdString() : "";
    }
};

} // namespace

TEST_F(RegenerateTest, RegeneratingTheSummaryShowsTheEnginesProgressThenTheStoredSummary) {
    open();
    auto* button = page->findChild<QPushButton*>("regenerateSummary");
    ASSERT_TRUE(button);
    button->click();
    settle();
    EXPECT_EQ(progress(), "Summarizing part 2 of 5…");
    EXPECT_FALSE(button->isEnabled()) << "one summary job at a time";

    ASSERT_TRUE(held->has_value());
    (*held)->resume();
    settle();
    EXPECT_EQ(progress(), "");
    EXPECT_EQ(failure(), "");
    EXPECT_TRUE(button->isEnabled());
    EXPECT_EQ(db.recording(id)->summary, "The team chose the offline mode first.");
    EXPECT_NE(page->findChild<QTextBrowser*>("summary")->toPlainText().toStdString().find("offline mode"),
              std::string::npos);
}

TEST_F(RegenerateTest, AModelThatCannotRunShowsItsSentenceUnderTheButtons) {
    struct Case {
        const char* name;
        Reason reason;
        const char* expected;
    };
    const Case cases[] = {
        {"not downloaded",
         {Reason::Kind::modelNotDownloaded, "Qwen 3 4B"},
         "The AI model (Qwen 3 4B) isn't downloaded. Download it in Settings, then try again."},
        {"AI off", {Reason::Kind::aiDisabled, ""}, "AI is turned off. Turn it on in Settings to use this."},
        {"engine error", {Reason::Kind::engineError, "out of memory"}, "AI error: out of memory"},
    };
    open();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        unavailable = c.reason;
        page->findChild<QPushButton*>("regenerateSummary")->click();
        settle();
        EXPECT_EQ(failure(), c.expected);
        EXPECT_EQ(progress(), "");
    }
}

TEST_F(RegenerateTest, WithoutAnAIProviderTheButtonsAreOffAndSayWhy) {
    aiSetUp = false;
    open();
    for (const char* name : {"regenerateTitle", "regenerateSummary", "regenerateActionItems"}) {
        auto* button = page->findChild<QPushButton*>(name);
        ASSERT_TRUE(button) << name;
        EXPECT_FALSE(button->isEnabled()) << name;
        EXPECT_EQ(button->toolTip().toStdString(),
                  "AI model not configured. Go to Settings to set up an AI model.");
    }
}

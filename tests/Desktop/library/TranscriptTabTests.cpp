#include "Desktop/library/TranscriptTab.h"

#include "../DesktopTestSupport.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>

#include <gtest/gtest.h>

namespace {

using Segment = Database::DatabaseManager::TranscriptSegment;
const Support::Date start = Support::dateFromUnix(1'795'003'200);

struct TranscriptTabTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::InMemoryUserDefaults defaults;
    Database::SqliteDatabase db{":memory:"};
    Database::RecordingId id = 0;
    std::string clipboard;
    std::unique_ptr<UI::TranscriptReaderModel> model;
    std::unique_ptr<Desktop::TranscriptTab> tab;

    void open(int segmentCount, std::vector<Database::DatabaseManager::StoredTopic> topics = {}) {
        Database::DatabaseManager::Recording r;
        r.title = "Weekly sync";
        r.startDate = start;
        id = db.insertRecording(r);
        std::vector<Segment> segments;
        for (int i = 0; i < segmentCount; ++i) {
            Segment s;
            s.startTime = i * 10.0;
            s.endTime = s.startTime + 9;
            s.speaker = i % 3 == 0 ? "Ann" : "Bo";
            s.text = i == 4 ? "the budget is approved" : "line " + std::to_string(i);
            segments.push_back(s);
        }
        db.saveTranscript(id, segments);
        if (!topics.empty()) {
            db.saveTopics(id, topics);
        }
        model = std::make_unique<UI::TranscriptReaderModel>(db, id, defaults, scheduler,
                                                            [this](const std::string& t) { clipboard = t; });
        tab = std::make_unique<Desktop::TranscriptTab>(*model);
        tab->resize(700, 400);
        tab->show();
        (void)model->load();
        settle();
    }
    void settle() { DesktopTest::settle(loop); }
    template <typename W> W* child(const char* name) const { return tab->findChild<W*>(name); }
    QStringList chipTitles() const {
        QStringList out;
        for (auto* b : tab->findChildren<QPushButton*>("speakerChip")) {
            out << b->text();
        }
        return out;
    }
};

TEST_F(TranscriptTabTest, SpeakerChipsAndTheSearchFieldFilterTheRows) {
    open(6);
    EXPECT_EQ(chipTitles(), (QStringList{"Everyone", "Ann", "Bo"}));
    EXPECT_EQ(tab->list()->count(), 6);
    for (auto* b : tab->findChildren<QPushButton*>("speakerChip")) {
        if (b->text() == "Ann") {
            QTest::mouseClick(b, Qt::LeftButton);
            break;
        }
    }
    EXPECT_EQ(tab->list()->count(), 2);
    QTest::keyClicks(child<QLineEdit>("transcriptSearch"), "budget");
    EXPECT_EQ(tab->list()->count(), 0);
    EXPECT_EQ(child<QLabel>("transcriptEmpty")->text(), "No segments match.");
    EXPECT_FALSE(child<QLabel>("transcriptEmpty")->isHidden());
    for (auto* b : tab->findChildren<QPushButton*>("speakerChip")) {
        if (b->text() == "Everyone") {
            QTest::mouseClick(b, Qt::LeftButton);
            break;
        }
    }
    ASSERT_EQ(tab->list()->count(), 1);
    EXPECT_TRUE(tab->list()->item(0)->text().endsWith("the budget is approved"));
    EXPECT_TRUE(child<QLabel>("transcriptEmpty")->isHidden());
}

TEST_F(TranscriptTabTest, PagesLoadOnRequestWithTheCountAndButtonTexts) {
    open(450);
    EXPECT_EQ(tab->list()->count(), 200);
    EXPECT_EQ(child<QLabel>("transcriptCount")->text(), "Showing 200 of 450 segments");
    auto* more = child<QPushButton>("loadMore");
    EXPECT_EQ(more->text(), "Load More Segments");
    QTest::mouseClick(more, Qt::LeftButton);
    settle();
    QTest::mouseClick(more, Qt::LeftButton);
    settle();
    EXPECT_EQ(tab->list()->count(), 450);
    EXPECT_TRUE(more->isHidden());
}

TEST_F(TranscriptTabTest, TopicDividersStandAboveTheFirstRowOfEachTopic) {
    Database::DatabaseManager::StoredTopic intro, budget;
    intro.title = "Introductions";
    intro.startTime = 0;
    intro.endTime = 20;
    budget.title = "Budget";
    budget.startTime = 20;
    budget.endTime = 60;
    open(4, {intro, budget});
    QStringList texts;
    for (int i = 0; i < tab->list()->count(); ++i) {
        texts << tab->list()->item(i)->text().section('\n', 0, 0);
    }
    EXPECT_EQ(texts,
              (QStringList{"Introductions", "Ann  0:00", "Bo  0:10", "Budget", "Bo  0:20", "Ann  0:30"}));
    EXPECT_EQ(tab->list()->item(0)->flags(), Qt::ItemIsEnabled) << "a divider cannot be selected";
}

TEST_F(TranscriptTabTest, CopyAllCopiesEveryLineAndConfirmsBriefly) {
    open(3);
    auto* copy = child<QPushButton>("copyAll");
    QTest::mouseClick(copy, Qt::LeftButton);
    settle();
    EXPECT_EQ(clipboard, "Ann (0:00): line 0\nBo (0:10): line 1 line 2");
    EXPECT_EQ(copy->text(), "Copied All!");
    scheduler.advance(UI::TranscriptReaderModel::copiedRevertDelay);
    settle();
    EXPECT_EQ(copy->text(), "Copy All");
}

TEST_F(TranscriptTabTest, PlaybackScrollsAlongUntilTheUserScrollsThenResumesAfterThePause) {
    open(150);
    auto* bar = tab->list()->verticalScrollBar();
    tab->setPlaybackTime(900);
    settle();
    int followed = bar->value();
    EXPECT_GT(followed, 0) << "following playback scrolls to the active row";

    // The user scrolls back to the top: following pauses, playback moves on without scrolling.
    bar->triggerAction(QAbstractSlider::SliderToMinimum);
    EXPECT_FALSE(model->follow.isEngaged.get());
    tab->setPlaybackTime(1200);
    EXPECT_EQ(bar->value(), 0);

    // After the pause the next time the active row is seen on screen, following engages again; the follow
    // button (or a visible active row) resumes it.
    scheduler.advance(UI::TranscriptFollowPolicy::scrollPause);
    model->follow.resume();
    tab->setPlaybackTime(1300);
    EXPECT_GT(bar->value(), followed);

    // With the switch off, nothing scrolls.
    QTest::mouseClick(child<QCheckBox>("followPlayback"), Qt::LeftButton);
    EXPECT_FALSE(model->followPlayback());
    int before = bar->value();
    tab->setPlaybackTime(100);
    EXPECT_EQ(bar->value(), before);
}

} // namespace

#include "Desktop/library/LibraryWindow.h"

#include "../DesktopTestSupport.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Desktop/library/RecordingListModel.h"
#include "Desktop/library/RecordingPage.h"
#include "Desktop/library/TranscriptTab.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QToolButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace {

using Recording = Database::DatabaseManager::Recording;
using Segment = Database::DatabaseManager::TranscriptSegment;

// 2026-11-18 12:00 UTC, a Wednesday.
const Support::Date now = Support::dateFromUnix(1'795'003'200);
const UI::DateContext context{"en_US", "UTC"};
constexpr double day = 86400;

Recording recording(std::string title, double daysAgo, double duration = 600, bool favorite = false) {
    Recording r;
    r.title = std::move(title);
    r.startDate = now - std::chrono::seconds(static_cast<long long>(daysAgo * day));
    r.duration = duration;
    r.isFavorite = favorite;
    return r;
}

struct LibraryWindowTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, now};
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    Database::SqliteDatabase db{":memory:"};
    std::unique_ptr<Intelligence::UnifiedSearchEngine> engine;
    std::unique_ptr<UI::LibraryViewModel> vm;
    std::unique_ptr<Desktop::LibraryWindow> window;
    std::string copied;

    void open() {
        engine = std::make_unique<Intelligence::UnifiedSearchEngine>(
            db, Intelligence::SearchConfiguration{}, Intelligence::FrameIndexingConfiguration{},
            std::make_shared<Intelligence::NoFrameSearch>());
        vm = std::make_unique<UI::LibraryViewModel>(db, *engine, scheduler, center);
        window = std::make_unique<Desktop::LibraryWindow>(Desktop::LibraryWindow::Context{
            *vm, db, defaults, scheduler, context, [this](const std::string& text) { copied = text; }});
        (void)vm->loadRecordings();
        window->show();
        settle();
    }
    void settle() { DesktopTest::settle(loop); }

    std::vector<std::string> rows() const {
        std::vector<std::string> out;
        auto* model = window->list()->model();
        for (int i = 0; i < model->rowCount(); ++i) {
            out.push_back(model->index(i, 0).data().toString().toStdString());
        }
        return out;
    }
    std::vector<std::string> titles() const {
        std::vector<std::string> out;
        for (const auto& r : window->listModel()->recordings()) {
            out.push_back(r.title);
        }
        return out;
    }
    template <typename W> W* child(const char* name) const {
        auto* w = window->findChild<W*>(name);
        EXPECT_NE(w, nullptr) << name;
        return w;
    }
    void type(const QString& text) {
        auto* search = child<QLineEdit>("librarySearch");
        search->setFocus();
        QTest::keyClicks(search, text);
    }
};

TEST_F(LibraryWindowTest, TheListShowsEveryRecordingNewestFirstWithRelativeDatesAndLengths) {
    db.insertRecording(recording("Planning", 0));
    db.insertRecording(recording("Retro", 2, 3725));
    db.insertRecording(recording("Kickoff", 8));
    open();
    EXPECT_EQ(rows(),
              (std::vector<std::string>{"Planning\nToday \u00b7 10:00", "Retro\n2 days ago \u00b7 1:02:05",
                                        "Kickoff\nLast week \u00b7 10:00"}));
}

TEST_F(LibraryWindowTest, FilterButtonsAndTheOverflowMenuNarrowTheList) {
    db.insertRecording(recording("Today's standup", 0.1));
    db.insertRecording(recording("Monday review", 2, 600, true));
    db.insertRecording(recording("Old planning", 30));
    open();
    struct Case {
        UI::RecordingFilter filter;
        std::vector<std::string> titles;
        QString moreTitle;
    };
    const Case cases[] = {
        {UI::RecordingFilter::today, {"Today's standup"}, "More"},
        {UI::RecordingFilter::thisWeek, {"Today's standup", "Monday review"}, "More"},
        {UI::RecordingFilter::favorites, {"Monday review"}, "Favorites"},
        {UI::RecordingFilter::transcribed, {}, "Transcribed"},
        {UI::RecordingFilter::all, {"Today's standup", "Monday review", "Old planning"}, "More"},
    };
    for (const auto& c : cases) {
        window->setFilter(c.filter);
        EXPECT_EQ(titles(), c.titles) << UI::rawValue(c.filter);
        EXPECT_EQ(child<QToolButton>("filterMore")->text(), c.moreTitle) << UI::rawValue(c.filter);
    }
    // The direct buttons are real buttons: clicking "Today" filters.
    QTest::mouseClick(child<QPushButton>("filterToday"), Qt::LeftButton);
    EXPECT_EQ(titles(), std::vector<std::string>{"Today's standup"});
    EXPECT_TRUE(child<QPushButton>("filterToday")->isChecked());
    EXPECT_FALSE(child<QPushButton>("filterAll")->isChecked());
}

TEST_F(LibraryWindowTest, TheCustomRangeKeepsWholeDaysAndNamesTheRangeOnTheOverflowButton) {
    db.insertRecording(recording("Inside", 31));
    db.insertRecording(recording("Too recent", 1));
    db.insertRecording(recording("Too old", 60));
    open();
    window->setFilter(UI::RecordingFilter::custom);
    window->setCustomRange(QDate(2026, 10, 10), QDate(2026, 10, 20));
    EXPECT_EQ(titles(), std::vector<std::string>{"Inside"});
    EXPECT_EQ(child<QToolButton>("filterMore")->text(), "Oct 10 - Oct 20");
}

TEST_F(LibraryWindowTest, EverySortOrdersTheList) {
    db.insertRecording(recording("bravo", 1, 300));
    db.insertRecording(recording("Alpha", 3, 900));
    db.insertRecording(recording("charlie", 2, 60));
    open();
    const std::pair<UI::RecordingSort, std::vector<std::string>> cases[] = {
        {UI::RecordingSort::newestFirst, {"bravo", "charlie", "Alpha"}},
        {UI::RecordingSort::oldestFirst, {"Alpha", "charlie", "bravo"}},
        {UI::RecordingSort::longestFirst, {"Alpha", "bravo", "charlie"}},
        {UI::RecordingSort::shortestFirst, {"charlie", "bravo", "Alpha"}},
        {UI::RecordingSort::titleAZ, {"Alpha", "bravo", "charlie"}},
    };
    auto* combo = child<QComboBox>("librarySort");
    for (const auto& [sort, expected] : cases) {
        combo->setCurrentIndex(combo->findText(QString::fromUtf8(UI::rawValue(sort).data())));
        Q_EMIT combo->activated(combo->currentIndex());
        EXPECT_EQ(titles(), expected) << UI::rawValue(sort);
    }
}

TEST_F(LibraryWindowTest, TypingSearchesOnceAfterTheDebounceAndFindsAccentedTitles) {
    db.insertRecording(recording("Caf\u00e9 chat", 1));
    db.insertRecording(recording("Budget", 2));
    open();
    type("cafe");
    settle();
    EXPECT_EQ(titles().size(), 2u) << "nothing changes before the debounce";
    scheduler.advance(UI::LibraryViewModel::searchDebounce);
    settle();
    EXPECT_EQ(titles(), std::vector<std::string>{"Caf\u00e9 chat"});
    child<QLineEdit>("librarySearch")->clear();
    settle();
    EXPECT_EQ(titles().size(), 2u);
}

TEST_F(LibraryWindowTest, AMomentOpensTheTranscriptAtItsTime) {
    auto id = db.insertRecording(recording("Roadmap review", 1));
    std::vector<Segment> segments;
    for (int i = 0; i < 260; ++i) {
        Segment s;
        s.startTime = i * 10.0;
        s.endTime = s.startTime + 9;
        s.speaker = i % 2 ? "Bo" : "Ann";
        s.text = i == 240 ? "the quarterly roadmap needs pruning" : "filler talk number " + std::to_string(i);
        segments.push_back(s);
    }
    db.saveTranscript(id, segments);
    open();
    type("pruning");
    scheduler.advance(UI::LibraryViewModel::searchDebounce);
    settle();
    auto* moments = child<QTreeWidget>("momentsList");
    ASSERT_TRUE(moments->isVisible());
    ASSERT_EQ(moments->topLevelItemCount(), 1);
    auto* hit = moments->topLevelItem(0)->child(0);
    ASSERT_NE(hit, nullptr);
    EXPECT_TRUE(hit->text(0).startsWith("40:00  Ann: the quarterly roadmap")) << hit->text(0).toStdString();
    Q_EMIT moments->itemClicked(hit, 0);
    settle();
    auto* page = window->page();
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->tabs()->currentWidget(), page->transcriptTab());
    auto* current = page->transcriptTab()->list()->currentItem();
    ASSERT_NE(current, nullptr);
    EXPECT_EQ(current->data(Desktop::TranscriptTab::startTimeRole).toDouble(), 2400.0)
        << "the second page was loaded to reach the moment";
}

TEST_F(LibraryWindowTest, DeletingAsksFirstAndCancelKeepsTheRecording) {
    db.insertRecording(recording("Keep me", 1));
    db.insertRecording(recording("Delete me", 2));
    open();
    window->openRecording(window->listModel()->recordings()[1].id);
    settle();
    ASSERT_NE(window->page(), nullptr);

    QTest::mouseClick(window->page()->findChild<QPushButton*>("delete"), Qt::LeftButton);
    auto* box = window->findChild<QMessageBox*>("deleteConfirmation");
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text().toStdString(), "Delete \u201cDelete me\u201d?");
    QTest::mouseClick(box->findChild<QPushButton*>("cancelDelete"), Qt::LeftButton);
    settle();
    EXPECT_EQ(titles().size(), 2u);

    QTest::mouseClick(window->page()->findChild<QPushButton*>("delete"), Qt::LeftButton);
    box = window->findChild<QMessageBox*>("deleteConfirmation");
    ASSERT_NE(box, nullptr);
    QTest::mouseClick(box->findChild<QPushButton*>("confirmDelete"), Qt::LeftButton);
    settle();
    EXPECT_EQ(titles(), std::vector<std::string>{"Keep me"});
    EXPECT_EQ(db.allRecordings().size(), 1u);
    EXPECT_EQ(window->page(), nullptr) << "the deleted recording's page closes";
}

TEST_F(LibraryWindowTest, TheFavoriteButtonFlipsTheStarInTheList) {
    db.insertRecording(recording("Standup", 1));
    open();
    window->openRecording(window->listModel()->recordings()[0].id);
    settle();
    auto* favorite = window->page()->findChild<QPushButton*>("favorite");
    EXPECT_EQ(favorite->text(), "Favorite");
    QTest::mouseClick(favorite, Qt::LeftButton);
    settle();
    EXPECT_EQ(rows()[0].substr(0, 4), "\u2605 ");
    EXPECT_EQ(favorite->text(), "Unfavorite");
}

} // namespace

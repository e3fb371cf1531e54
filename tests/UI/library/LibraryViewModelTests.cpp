#include "UI/library/LibraryViewModel.h"

#include "LibraryTestSupport.h"
#include "Support/Log.h"
#include "UI/library/LibraryNotifications.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <fstream>
#include <future>

using namespace LibraryTest;
using Intelligence::MomentHit;
using UI::LibraryViewModel;

namespace {

const Support::Date start = Support::dateFromUnix(1'795'000'000); // 2026-11-18

std::vector<std::string> titles(const std::vector<Recording>& list) {
    std::vector<std::string> out;
    for (const auto& r : list) {
        out.push_back(r.title);
    }
    return out;
}

/// A frame search that holds its answer until the test lets it go.
struct GatedFrameSearch : Intelligence::FrameSearching {
    std::promise<void> entered;
    std::shared_future<void> gate;
    std::vector<MomentHit> hits;
    std::atomic<int> calls{0};
    std::vector<MomentHit> search(const std::string&, int) override {
        if (calls++ == 0) {
            entered.set_value();
            gate.wait();
        }
        return hits;
    }
};

struct Fixture : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::NotificationCenter center;
    Database::SqliteDatabase db{":memory:"};
    std::shared_ptr<Intelligence::FrameSearching> frames = std::make_shared<Intelligence::NoFrameSearch>();
    std::unique_ptr<Intelligence::UnifiedSearchEngine> engine;
    std::unique_ptr<LibraryViewModel> vm;

    void make() {
        engine = std::make_unique<Intelligence::UnifiedSearchEngine>(
            db, Intelligence::SearchConfiguration{}, Intelligence::FrameIndexingConfiguration{}, frames);
        vm = std::make_unique<LibraryViewModel>(db, *engine, scheduler, center);
    }
    /// A recording about the budget whose screen search is held until `release` is set; returns once a
    /// search for "budget" is waiting there.
    Database::RecordingId startGatedScreenSearch(std::promise<void>& release) {
        auto id = db.insertRecording(recording("Planning", 1000));
        db.saveTranscript(id, {segment(1, "budget talk")});
        auto gated = std::make_shared<GatedFrameSearch>();
        gated->gate = release.get_future().share();
        gated->hits = {MomentHit{MomentHit::Source::screen, id, 0, 7, "Budget slide", "", 0}};
        frames = gated;
        make();
        load();
        auto entered = gated->entered.get_future();
        vm->search("budget");
        scheduler.advance(LibraryViewModel::searchDebounce);
        while (entered.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            loop.runOne(50);
        }
        return id;
    }
    void load() {
        auto task = vm->loadRecordings();
        settle(loop);
        ASSERT_TRUE(task.isDone());
    }
    void typeAndWait(const std::string& text) {
        vm->search(text);
        scheduler.advance(LibraryViewModel::searchDebounce);
        settle(loop);
    }
};

} // namespace

TEST_F(Fixture, LoadPublishesTheListAndMarksTheFirstLoadOnce) {
    db.insertRecording(recording("Older", 1000));
    db.insertRecording(recording("Newer", 2000));
    make();
    std::vector<bool> loading;
    auto sub = vm->isLoading.observe([&](bool v) { loading.push_back(v); });
    EXPECT_FALSE(vm->hasLoadedOnce.get());
    load();
    EXPECT_EQ(titles(vm->recordings.get()), (std::vector<std::string>{"Newer", "Older"}));
    EXPECT_EQ(loading, (std::vector<bool>{true, false}));
    EXPECT_TRUE(vm->hasLoadedOnce.get());
}

TEST(LibraryViewModel, AFailedLoadIsLoggedAndKeepsThePreviousList) {
    Fakes::TempFolder dir;
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::NotificationCenter center;
    Database::SqliteDatabase db(dir.path / "library.sqlite");
    db.insertRecording(recording("Kept", 1000));
    Intelligence::UnifiedSearchEngine engine(db);
    LibraryViewModel vm(db, engine, scheduler, center);
    auto first = vm.loadRecordings();
    settle(loop);
    sqlite3* raw = nullptr;
    sqlite3_open((dir.path / "library.sqlite").c_str(), &raw);
    sqlite3_exec(raw, "DROP TABLE recordings", nullptr, nullptr, nullptr);
    sqlite3_close(raw);

    Support::LogCapture logs;
    auto second = vm.loadRecordings();
    settle(loop);
    EXPECT_TRUE(logs.contains("Failed to load recordings: ")) << ::testing::PrintToString(logs.messages());
    EXPECT_EQ(titles(vm.recordings.get()), (std::vector<std::string>{"Kept"}));
    EXPECT_FALSE(vm.isLoading.get());
}

TEST_F(Fixture, TypingWithinTheDebounceRunsOneSearchForTheLastText) {
    db.insertRecording(recording("Café planning", 1000));
    db.insertRecording(recording("Cab booking", 2000));
    db.insertRecording(recording("Budget", 3000));
    make();
    load();
    int published = 0;
    auto sub = vm->recordings.observe([&](const auto&) { ++published; });
    std::vector<std::string> momentQueries;
    auto momentSub = vm->moments.observe([&](const auto& m) { momentQueries.push_back(m.query); });
    vm->search("c");
    scheduler.advance(std::chrono::milliseconds(100));
    vm->search("ca");
    scheduler.advance(std::chrono::milliseconds(100));
    vm->search("caf");
    scheduler.advance(std::chrono::milliseconds(249));
    settle(loop);
    EXPECT_EQ(published, 0) << "still within the debounce of the last edit";
    scheduler.advance(std::chrono::milliseconds(1));
    settle(loop);
    EXPECT_EQ(published, 1);
    EXPECT_EQ(titles(vm->recordings.get()), (std::vector<std::string>{"Café planning"}));
    EXPECT_EQ(momentQueries, (std::vector<std::string>{"caf"}));
}

TEST_F(Fixture, MatchesTitlesAndNotesIgnoringCaseAndAccents) {
    auto notes = recording("Weekly sync", 1000);
    notes.notes = "Ask about the CRÈME brûlée budget";
    db.insertRecording(notes);
    db.insertRecording(recording("Réunion au CAFÉ", 2000));
    db.insertRecording(recording("Søren's intro", 3000));
    db.insertRecording(recording("Unrelated", 4000));
    make();
    load();
    struct Case {
        std::string query;
        std::vector<std::string> expected;
    };
    for (const auto& c : std::vector<Case>{{"cafe", {"Réunion au CAFÉ"}},
                                           {"creme brulee", {"Weekly sync"}},
                                           {"soren", {"Søren's intro"}},
                                           {"  reunion\n", {"Réunion au CAFÉ"}},
                                           {"zzz", {}}}) {
        typeAndWait(c.query);
        EXPECT_EQ(titles(vm->recordings.get()), c.expected) << c.query;
        EXPECT_EQ(titles(vm->filterRecordings(c.query, false)), c.expected) << c.query;
    }
    EXPECT_TRUE(vm->filterRecordings("creme", true).empty()) << "titles only leaves notes out";
}

TEST_F(Fixture, ABlankQueryRestoresTheFullListAndClearsMoments) {
    auto id = db.insertRecording(recording("Budget review", 1000));
    db.saveTranscript(id, {segment(5, "the budget is tight")});
    db.insertRecording(recording("Other", 2000));
    make();
    load();
    typeAndWait("budget");
    EXPECT_EQ(vm->recordings.get().size(), 1u);
    EXPECT_EQ(vm->moments.get().hits.size(), 1u);
    vm->search("   \n");
    settle(loop);
    EXPECT_EQ(vm->recordings.get().size(), 2u);
    EXPECT_TRUE(vm->moments.get().isEmpty());
    EXPECT_TRUE(vm->momentGroups.get().empty());
}

TEST_F(Fixture, AReloadDuringASearchReappliesIt) {
    db.insertRecording(recording("Budget review", 1000));
    make();
    load();
    typeAndWait("budget");
    db.insertRecording(recording("Budget follow-up", 2000));
    db.insertRecording(recording("Lunch", 3000));
    load();
    EXPECT_EQ(titles(vm->recordings.get()), (std::vector<std::string>{"Budget follow-up", "Budget review"}));
}

TEST_F(Fixture, GroupsMomentsByRecordingInRankOrderWithLeadTimes) {
    auto dense = db.insertRecording(recording("Planning", 1000));
    db.saveTranscript(dense, {segment(1, "budget budget budget"), segment(9, "the budget again budget")});
    db.setAudioLeadTime(dense, 1.25);
    auto sparse = db.insertRecording(recording("Standup", 2000));
    db.saveTranscript(sparse,
                      {segment(3, "a long sentence that mentions the budget only once among many words")});
    make();
    load();
    typeAndWait("budget");
    const auto& groups = vm->momentGroups.get();
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].id(), dense);
    EXPECT_EQ(groups[0].hits.size(), 2u);
    EXPECT_EQ(groups[0].audioLeadTime, 1.25);
    EXPECT_EQ(groups[1].id(), sparse);
    EXPECT_EQ(groups[1].audioLeadTime, std::nullopt);
    EXPECT_EQ(groups[1].hits[0].startTime, 3);
    EXPECT_FALSE(vm->isSearchingMoments.get());

    // A hit whose recording is not in the list is left out.
    MomentHit ghost;
    ghost.recordingId = 999;
    auto task = vm->groups({ghost}, vm->allRecordings());
    settle(loop);
    EXPECT_TRUE(task.get().empty());
}

TEST_F(Fixture, AMomentResultOfAnOlderSearchIsDropped) {
    auto id = db.insertRecording(recording("Planning", 1000));
    db.saveTranscript(id, {segment(1, "budget talk"), segment(2, "roadmap talk")});
    make();
    load();
    typeAndWait("budget");
    const auto oldGeneration = vm->searchGeneration();
    vm->search("roadmap"); // newer search, still in its debounce
    auto stale = vm->searchMoments("roadmap", false, oldGeneration);
    auto visual = vm->applyVisualStep({MomentHit{MomentHit::Source::screen, id, 0, 5, "Roadmap", "", 0}},
                                      oldGeneration);
    settle(loop);
    EXPECT_EQ(vm->moments.get().query, "budget");
    EXPECT_EQ(vm->moments.get().hits.size(), 1u);
}

TEST_F(Fixture, AScreenResultThatArrivesAfterANewerSearchStartedIsDropped) {
    std::promise<void> release;
    [[maybe_unused]] auto id = startGatedScreenSearch(release);
    EXPECT_EQ(vm->moments.get().hits.size(), 1u) << "transcript moments are shown before the screen stage";
    vm->search("bud");
    release.set_value();
    settle(loop);
    for (const auto& hit : vm->moments.get().hits) {
        EXPECT_EQ(hit.source, MomentHit::Source::transcript);
    }

    // Without a newer search the screen hit is merged after the transcript hits.
    scheduler.advance(LibraryViewModel::searchDebounce);
    settle(loop);
    ASSERT_EQ(vm->moments.get().hits.size(), 2u);
    EXPECT_EQ(vm->moments.get().hits[1].source, MomentHit::Source::screen);
    EXPECT_EQ(vm->momentGroups.get()[0].hits.size(), 2u);
}

TEST_F(Fixture, DeletingARecordingRemovesItsVideoPostsTheNotificationAndReloads) {
    Fakes::TempFolder dir;
    auto video = dir.path / "call.mp4";
    std::ofstream(video) << "video";
    auto r = recording("Doomed", 1000);
    r.videoFileURL = video;
    auto id = db.insertRecording(r);
    db.insertRecording(recording("Kept", 2000));
    make();
    load();
    std::vector<std::optional<Database::RecordingId>> posted;
    auto sub =
        center.observe(UI::LibraryNotifications::recordingDidDelete, [&](const Support::Notification& n) {
            posted.push_back(UI::LibraryNotifications::recordingId(n));
            EXPECT_EQ(db.recording(id), std::nullopt) << "posted after the store delete";
        });
    auto task = vm->deleteRecording(*vm->shownRecording(id));
    settle(loop);
    EXPECT_FALSE(std::filesystem::exists(video));
    EXPECT_EQ(posted, (std::vector<std::optional<Database::RecordingId>>{id}));
    EXPECT_EQ(titles(vm->recordings.get()), (std::vector<std::string>{"Kept"}));
    EXPECT_EQ(vm->shownRecording(id), std::nullopt);
}

TEST(LibraryViewModel, FavoritesAreFlippedInTheStoreAndInTheListsAndFailuresAreLogged) {
    Fakes::TempFolder dir;
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::NotificationCenter center;
    auto file = dir.path / "library.sqlite";
    Database::RecordingId id;
    {
        Database::SqliteDatabase writer(file);
        id = writer.insertRecording(recording("Star me", 1000));
        Intelligence::UnifiedSearchEngine engine(writer);
        LibraryViewModel vm(writer, engine, scheduler, center);
        auto load = vm.loadRecordings();
        settle(loop);
        auto toggle = vm.toggleFavorite(vm.recordings.get()[0]);
        settle(loop);
        EXPECT_TRUE(writer.recording(id)->isFavorite);
        EXPECT_TRUE(vm.recordings.get()[0].isFavorite);
        EXPECT_TRUE(vm.shownRecording(id)->isFavorite);
    }
    Database::SqliteDatabase reader(file, {Database::SqliteDatabase::Mode::readOnly, std::nullopt});
    Intelligence::UnifiedSearchEngine engine(reader);
    LibraryViewModel vm(reader, engine, scheduler, center);
    auto load = vm.loadRecordings();
    settle(loop);
    Support::LogCapture logs;
    auto toggle = vm.toggleFavorite(vm.recordings.get()[0]);
    settle(loop);
    EXPECT_TRUE(logs.contains("Failed to toggle favorite: ")) << ::testing::PrintToString(logs.messages());
    EXPECT_TRUE(vm.recordings.get()[0].isFavorite);
}

TEST_F(Fixture, CopiesTheWholeTranscriptAsFormattedLines) {
    auto id = db.insertRecording(recording("r", 1000));
    db.saveTranscript(id,
                      {segment(5, "Hi", "Alice"), segment(7, "there", "Alice"), segment(65, "Hello", "Bob")});
    make();
    auto task = vm->transcriptText(id);
    settle(loop);
    EXPECT_EQ(task.get(), "Alice (0:05): Hi there\nBob (1:05): Hello");
    auto none = vm->transcriptText(id + 1);
    settle(loop);
    EXPECT_EQ(none.get(), "");
}

TEST_F(Fixture, ReloadsWhenTheStoreChanges) {
    make();
    auto bridge = Database::postChanges(db, center);
    vm->setupNotificationObservers();
    load();
    EXPECT_TRUE(vm->recordings.get().empty());
    db.insertRecording(recording("Fresh", 1000));
    settle(loop);
    EXPECT_EQ(titles(vm->recordings.get()), (std::vector<std::string>{"Fresh"}));
}

TEST_F(Fixture, ShowsTheListThroughTheFilterAndSort) {
    const UI::DateContext paris{"en_US", "Europe/Paris"};
    // Wednesday 2026-11-18 10:00 in Paris is "now"; the week starts on Sunday 2026-11-15 in en_US.
    const auto now = Support::dateFromUnix(1'794'992'400);
    auto at = [&](double hoursFromNow) { return Support::unixSeconds(now) + hoursFromNow * 3600; };
    auto a = recording("alpha", at(-1), 30); // today
    a.hasTranscript = true;
    auto b = recording("Bravo", at(-10.5), 90); // yesterday 23:30 (this week)
    b.isFavorite = true;
    auto c = recording("charlie", at(-3 * 24 - 1), 60); // Sunday 09:00 (this week)
    auto d = recording("Delta", at(-4 * 24), 10);       // Saturday (last week)
    for (const auto& r : {a, b, c, d}) {
        db.insertRecording(r);
    }
    make();
    load();
    using F = UI::RecordingFilter;
    using S = UI::RecordingSort;
    struct Case {
        F filter;
        S sort;
        std::vector<std::string> expected;
    };
    for (const auto& k : std::vector<Case>{
             {F::all, S::newestFirst, {"alpha", "Bravo", "charlie", "Delta"}},
             {F::all, S::oldestFirst, {"Delta", "charlie", "Bravo", "alpha"}},
             {F::all, S::longestFirst, {"Bravo", "charlie", "alpha", "Delta"}},
             {F::all, S::shortestFirst, {"Delta", "alpha", "charlie", "Bravo"}},
             {F::all, S::titleAZ, {"alpha", "Bravo", "charlie", "Delta"}},
             {F::today, S::newestFirst, {"alpha"}},
             {F::thisWeek, S::newestFirst, {"alpha", "Bravo", "charlie"}},
             {F::transcribed, S::newestFirst, {"alpha"}},
             {F::favorites, S::newestFirst, {"Bravo"}},
             {F::custom, S::newestFirst, {"alpha", "Bravo", "charlie", "Delta"}},
         }) {
        vm->filter = k.filter;
        vm->sort = k.sort;
        EXPECT_EQ(titles(vm->displayedRecordings(now, paris)), k.expected)
            << UI::rawValue(k.filter) << " / " << UI::rawValue(k.sort);
    }
    vm->filter = F::custom;
    vm->customStartDate = now - std::chrono::hours(1);    // the whole of today...
    vm->customEndDate = now - std::chrono::hours(4 * 24); // ...back to the whole of Saturday, given reversed
    EXPECT_EQ(titles(vm->displayedRecordings(now, paris)),
              (std::vector<std::string>{"alpha", "Bravo", "charlie", "Delta"}));
    vm->customEndDate = now - std::chrono::hours(2 * 24);
    EXPECT_EQ(titles(vm->displayedRecordings(now, paris)), (std::vector<std::string>{"alpha", "Bravo"}));
}

TEST_F(Fixture, DestroyingTheModelWhileItsWorkIsInFlightStopsTheWorkWithoutTouchingTheModel) {
    std::promise<void> release;
    [[maybe_unused]] auto id = startGatedScreenSearch(release);
    auto moments = vm->searchMoments("budget", false, vm->searchGeneration());
    auto reload = vm->loadRecordings();
    auto favourite = vm->toggleFavorite(vm->allRecordings()[0]);

    vm.reset(); // the screen stage is still on the pool, the others have not started
    release.set_value();
    settle(loop);

    EXPECT_TRUE(moments.wasCancelled());
    EXPECT_TRUE(reload.wasCancelled());
    EXPECT_TRUE(favourite.wasCancelled());
    EXPECT_FALSE(db.recording(id)->isFavorite)
        << "work that had not started when the model went away never runs";
}

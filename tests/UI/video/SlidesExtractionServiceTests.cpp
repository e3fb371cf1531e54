#include "UI/video/SlidesExtractionService.h"

#include "Support/Log.h"
#include "Support/Scheduler.h"
#include "UI/library/LibraryNotifications.h"
#include "UI/video/VideoNotifications.h"
#include "UI/video/VideoTestSupport.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

using Database::DatabaseManager;
using Outcome = Intelligence::Slide::Outcome;
using UI::SlidesExtractionService;
namespace fs = std::filesystem;

namespace {

const Support::Date start = Support::dateFromUnix(1'795'000'000);

/// Stands in for the reading of a video: puts a picture in the store at once (as a real job does while it
/// reads), then takes `duration` of scheduler time, then gives `result`.
class ScriptedJob final : public Intelligence::SlideExtractionJob {
public:
    ScriptedJob(Support::Scheduler& scheduler, fs::path slidesRoot)
        : scheduler_(scheduler), root_(slidesRoot) {}

    Support::Task<Outcome> run(Database::RecordingId recordingId, std::optional<fs::path> videoURL,
                               bool force) override {
        ++runs;
        lastForce = force;
        lastVideo = videoURL;
        VideoTest::writeFile(root_ / std::to_string(recordingId) / "slide-001.jpg", 10);
        co_await scheduler_.sleepFor(duration);
        co_return result;
    }

    int runs = 0;
    bool lastForce = false;
    std::optional<fs::path> lastVideo;
    Support::Duration duration = std::chrono::seconds(10);
    Outcome result{Outcome::Kind::read, 2, 1, {}};

private:
    Support::Scheduler& scheduler_;
    fs::path root_;
};

struct SlidesService : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::NotificationCenter center;
    Fakes::TempFolder dir;
    fs::path slidesRoot = dir.path / "Slides";
    fs::path screensRoot = dir.path / "Screens";
    std::unique_ptr<Database::SqliteDatabase> database =
        std::make_unique<Database::SqliteDatabase>(":memory:");
    std::shared_ptr<ScriptedJob> job = std::make_shared<ScriptedJob>(scheduler, slidesRoot);
    std::vector<Database::RecordingId> labelled;
    std::vector<Database::RecordingId> keyDetailRuns;
    std::set<Database::RecordingId> failingLabels;
    Support::LogCapture logs;
    std::vector<Support::Notification> posted;
    Support::Subscription completed =
        center.observe(UI::VideoNotifications::processingDidComplete,
                       [this](const Support::Notification& n) { posted.push_back(n); });
    Support::Subscription updated =
        center.observe(UI::VideoNotifications::recordingContentDidUpdate,
                       [this](const Support::Notification& n) { posted.push_back(n); });

    std::unique_ptr<SlidesExtractionService> make(DatabaseManager& store) {
        SlidesExtractionService::Operations operations;
        operations.makeJob = [this] { return job; };
        operations.labelScreens = [this](Database::RecordingId id) -> Support::Task<void> {
            labelled.push_back(id);
            co_await scheduler.sleepFor(std::chrono::seconds(1));
            if (failingLabels.count(id)) {
                throw std::runtime_error("the model is busy");
            }
        };
        operations.findKeyDetails = [this](Database::RecordingId id) -> Support::Task<void> {
            keyDetailRuns.push_back(id);
            co_await scheduler.sleepFor(std::chrono::seconds(5));
            throw std::runtime_error("nothing readable");
        };
        return std::make_unique<SlidesExtractionService>(store, center, slidesRoot, std::move(operations));
    }
    std::unique_ptr<SlidesExtractionService> service = make(*database);

    Database::RecordingId addRecording(const std::string& name) {
        auto r = VideoTest::recording(name, start, 1, dir.path);
        return database->insertRecording(r);
    }
    std::vector<std::string> postedSummary() const {
        std::vector<std::string> out;
        for (const auto& n : posted) {
            out.push_back(n.name + " " + n.value("recordingId").value_or("?") + " " +
                          n.value("type").value_or("?") +
                          (n.value("error") ? " error=" + *n.value("error") : ""));
        }
        return out;
    }
};

TEST_F(SlidesService, TwoRequestsForOneRecordingWhileItIsReadShareOneJobAndItsOutcome) {
    auto id = addRecording("design-review");
    auto first = service->extract(id, false);
    auto second = service->extract(id, true);
    VideoTest::runUntil(loop, [&] { return service->isExtracting(id) && job->runs == 1; });

    scheduler.advance(std::chrono::seconds(10));
    VideoTest::runUntil(loop, [&] { return first.isDone() && second.isDone(); });

    EXPECT_EQ(job->runs, 1);
    EXPECT_FALSE(job->lastForce) << "the second request's force does not start a second job";
    EXPECT_EQ(job->lastVideo, dir.path / "design-review.mp4");
    EXPECT_EQ(first.get(), job->result);
    EXPECT_EQ(second.get(), job->result);
    EXPECT_FALSE(service->isExtracting(id));
    auto ids = std::to_string(id);
    EXPECT_EQ(postedSummary(),
              (std::vector<std::string>{"Vellmora.processingCompleted " + ids + " slides",
                                        "Vellmora.recordingContentDidUpdate " + ids + " slides"}));

    auto again = service->extract(id, true);
    VideoTest::runUntil(loop, [&] { return job->runs == 2; });
    scheduler.advance(std::chrono::seconds(10));
    VideoTest::await(loop, again);
    EXPECT_TRUE(job->lastForce) << "a request after the first one ended reads again";
}

TEST_F(SlidesService, AFailedOrEmptyReadingIsReportedWithoutAContentUpdate) {
    auto id = addRecording("audio-only");
    job->result = Outcome{Outcome::Kind::toolMissing, 0, 0, "Slides can't be read: ffmpeg isn't installed."};
    auto failed = service->extract(id);
    VideoTest::runUntil(loop, [&] { return job->runs == 1; });
    scheduler.advance(std::chrono::seconds(10));
    EXPECT_EQ(VideoTest::await(loop, failed).kind, Outcome::Kind::toolMissing);

    job->result = Outcome{Outcome::Kind::read, 0, 0, {}};
    auto empty = service->extract(id);
    VideoTest::runUntil(loop, [&] { return job->runs == 2; });
    scheduler.advance(std::chrono::seconds(10));
    VideoTest::await(loop, empty);

    auto ids = std::to_string(id);
    EXPECT_EQ(postedSummary(),
              (std::vector<std::string>{"Vellmora.processingCompleted " + ids +
                                            " slides error=Slides can't be read: ffmpeg isn't installed.",
                                        "Vellmora.processingCompleted " + ids + " slides"}));
}

TEST_F(SlidesService, ARecordingThatIsNotThereIsLoggedAndNoJobRuns) {
    auto outcome = VideoTest::await(loop, service->extract(4242));
    EXPECT_EQ(outcome.kind, Outcome::Kind::failed);
    EXPECT_EQ(job->runs, 0);
    EXPECT_TRUE(logs.contains("Slides: recording 4242 not found"));
    EXPECT_TRUE(posted.empty());
}

TEST_F(SlidesService, DeletingARecordingWhileItIsReadCancelsTheJobAndLeavesNoPictureFolder) {
    auto id = addRecording("all-hands");
    VideoTest::writeFile(screensRoot / std::to_string(id) / "screen-001.jpg", 5);
    auto extraction = service->extract(id);
    VideoTest::runUntil(loop, [&] { return job->runs == 1; });
    ASSERT_TRUE(fs::exists(slidesRoot / std::to_string(id)));

    database->deleteRecording(id);
    UI::LibraryNotifications::postRecordingDeleted(center, id);
    VideoTest::runUntil(loop, [&] {
        return extraction.isDone() && !fs::exists(slidesRoot / std::to_string(id)) &&
               !fs::exists(screensRoot / std::to_string(id));
    });

    EXPECT_EQ(extraction.get().kind, Outcome::Kind::cancelled);
    EXPECT_FALSE(service->isExtracting(id));
    scheduler.advance(std::chrono::seconds(60));
    loop.runUntilIdle();
    EXPECT_FALSE(fs::exists(slidesRoot / std::to_string(id)));
    EXPECT_EQ(postedSummary(),
              (std::vector<std::string>{"Vellmora.processingCompleted " + std::to_string(id) + " slides"}));
}

TEST_F(SlidesService, CancellingEndsTheRunningJobOnly) {
    auto a = addRecording("a");
    auto b = addRecording("b");
    auto first = service->extract(a);
    auto second = service->extract(b);
    VideoTest::runUntil(loop, [&] { return job->runs == 2; });
    service->cancel(a);
    service->cancel(999);
    scheduler.advance(std::chrono::seconds(10));
    EXPECT_EQ(VideoTest::await(loop, first).kind, Outcome::Kind::cancelled);
    EXPECT_EQ(VideoTest::await(loop, second).kind, Outcome::Kind::read);
}

TEST_F(SlidesService, DestroyingTheServiceStopsItsWorkWhichThenReportsNothingAndTouchesNothing) {
    auto id = addRecording("standup");
    database->saveScreenCaptures(id, {{0, id, 1, "s.jpg", "Some text on screen", {}, true, 0}});
    auto extraction = service->extract(id);
    auto details = service->findKeyDetails(id);
    VideoTest::runUntil(loop, [&] { return job->runs == 1 && keyDetailRuns.size() == 1; });
    auto labelling = service->labelPendingScreens(5); // not started yet when the service goes away
    auto sweep = service->sweepOrphans();

    service.reset();
    scheduler.advance(std::chrono::seconds(60));
    VideoTest::runUntil(loop, [&] {
        return extraction.isDone() && details.isDone() && labelling.isDone() && sweep.isDone();
    });

    EXPECT_TRUE(extraction.wasCancelled());
    EXPECT_TRUE(details.wasCancelled());
    EXPECT_TRUE(labelling.wasCancelled());
    EXPECT_TRUE(sweep.wasCancelled());
    EXPECT_TRUE(labelled.empty());
    EXPECT_TRUE(posted.empty()) << "a service going away tells nobody about work it stopped";
}

TEST_F(SlidesService, TheOrphanSweepRemovesOnlyFoldersNoRecordingRefersTo) {
    auto withSlides = addRecording("slides");
    auto withScreens = addRecording("screens");
    database->saveSlides(withSlides, {{0, withSlides, 3, "slide-001.jpg", "Agenda"}});
    database->saveScreenCaptures(withScreens,
                                 {{0, withScreens, 4, "screen-001.jpg", "Dashboard", {}, false, {}}});
    for (auto id : {withSlides, withScreens, Database::RecordingId(77)}) {
        VideoTest::writeFile(slidesRoot / std::to_string(id) / "slide-001.jpg", 1);
        VideoTest::writeFile(screensRoot / std::to_string(id) / "screen-001.jpg", 1);
    }
    VideoTest::writeFile(slidesRoot / "notes" / "keep.txt", 1);
    VideoTest::writeFile(slidesRoot / "0042" / "keep.txt", 1);

    EXPECT_EQ(VideoTest::await(loop, service->sweepOrphans()), 4);

    EXPECT_TRUE(fs::exists(slidesRoot / std::to_string(withSlides)));
    EXPECT_FALSE(fs::exists(slidesRoot / std::to_string(withScreens)));
    EXPECT_FALSE(fs::exists(slidesRoot / "77"));
    EXPECT_TRUE(fs::exists(screensRoot / std::to_string(withScreens)));
    EXPECT_FALSE(fs::exists(screensRoot / std::to_string(withSlides)));
    EXPECT_FALSE(fs::exists(screensRoot / "77"));
    EXPECT_TRUE(fs::exists(slidesRoot / "notes" / "keep.txt")) << "folders that are not recordings stay";
    EXPECT_TRUE(fs::exists(slidesRoot / "0042" / "keep.txt"));
    EXPECT_TRUE(logs.contains("Slides: removed 4 picture folders nothing refers to"));
}

TEST_F(SlidesService, AnUnreadableStoreMakesTheOrphanSweepRemoveNothing) {
    auto file = dir.path / "library.sqlite";
    Database::SqliteDatabase broken(file);
    service = make(broken);
    VideoTest::writeFile(slidesRoot / "5" / "slide-001.jpg", 1);
    VideoTest::writeFile(screensRoot / "6" / "screen-001.jpg", 1);
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw, "DROP TABLE screen_captures", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(raw);

    EXPECT_EQ(VideoTest::await(loop, service->sweepOrphans()), 0);
    VideoTest::await(loop, service->rankScreens(5));

    EXPECT_TRUE(fs::exists(slidesRoot / "5" / "slide-001.jpg"));
    EXPECT_TRUE(fs::exists(screensRoot / "6" / "screen-001.jpg"));
    EXPECT_TRUE(logs.contains("Slides: the orphan sweep couldn't read the database: "));
    EXPECT_FALSE(logs.contains("picture folders nothing refers to"));
    EXPECT_TRUE(logs.contains("Slides: recording 5 screens couldn't be ranked: "));
}

TEST_F(SlidesService, RankingFeaturesTheScreensThatSayTheMost) {
    auto id = addRecording("demo");
    database->saveScreenCaptures(
        id, {{0, id, 1, "a.jpg", "Loading", {}, false, {}},
             {0, id, 2, "b.jpg", "Revenue by region for the third quarter", {}, false, {}},
             {0, id, 3, "c.jpg", "Pipeline stages and owners today", {"Pipeline"}, false, {}}});
    VideoTest::await(loop, service->rankScreens(id));

    auto captures = database->screenCaptures(id);
    ASSERT_EQ(captures.size(), 3u);
    EXPECT_EQ(captures[0].rank, 2);
    EXPECT_FALSE(captures[0].isFeatured) << "one word is not worth featuring";
    EXPECT_EQ(captures[1].rank, 0);
    EXPECT_TRUE(captures[1].isFeatured);
    EXPECT_EQ(captures[2].rank, 1);
    EXPECT_EQ(captures[2].label, "Pipeline") << "ranking keeps names";
}

TEST_F(SlidesService, PendingScreensAreNamedForAtMostTheGivenNumberOfRecordingsAndFailuresAreLogged) {
    for (const char* name : {"one", "two", "three"}) {
        auto id = addRecording(name);
        database->saveScreenCaptures(id, {{0, id, 1, "s.jpg", "Some text on screen", {}, true, 0}});
    }
    auto pending = database->recordingIdsWithUnlabelledFeaturedScreens();
    ASSERT_EQ(pending.size(), 3u);
    failingLabels.insert(pending[0]);
    auto labelling = service->labelPendingScreens(2);
    VideoTest::runUntil(loop, [&] { return labelled.size() == 1; });
    scheduler.advance(std::chrono::seconds(1));
    VideoTest::runUntil(loop, [&] { return labelled.size() == 2; });
    scheduler.advance(std::chrono::seconds(1));
    VideoTest::await(loop, labelling);

    EXPECT_EQ(labelled, (std::vector<Database::RecordingId>{pending[0], pending[1]}));
    EXPECT_TRUE(logs.contains("Slides: recording " + std::to_string(pending[0]) +
                              " screens couldn't be labelled: the model is busy"));
}

TEST_F(SlidesService, KeyDetailsRunOncePerRecordingAtATime) {
    auto first = service->findKeyDetails(8);
    auto second = service->findKeyDetails(8);
    auto other = service->findKeyDetails(9);
    VideoTest::runUntil(loop, [&] { return keyDetailRuns.size() == 2; });
    scheduler.advance(std::chrono::seconds(5));
    VideoTest::runUntil(loop, [&] { return first.isDone() && second.isDone() && other.isDone(); });

    EXPECT_EQ(keyDetailRuns, (std::vector<Database::RecordingId>{8, 9}));
    EXPECT_TRUE(logs.contains("Slides: recording 8 key details couldn't be found: nothing readable"));
}

TEST_F(SlidesService, TheLiveNamingSaysPlainlyThatItNeedsAModel) {
    SlidesExtractionService live(*database, center, slidesRoot);
    VideoTest::await(loop, live.labelScreensBeforeSummary(3));
    EXPECT_TRUE(
        logs.contains("Slides: recording 3 screens couldn't be labelled: Naming screens needs an AI model, "
                      "and none is set up."));
}

} // namespace

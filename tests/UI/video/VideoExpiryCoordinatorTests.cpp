#include "UI/video/VideoExpiryCoordinator.h"

#include "AudioEngine/VideoExpiryPreferences.h"
#include "Fakes/FakePowerEvents.h"
#include "Support/Log.h"
#include "UI/video/VideoNotifications.h"
#include "UI/video/VideoTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using Database::DatabaseManager;
using UI::VideoExpiryCoordinator;
using Kind = VideoExpiryCoordinator::DeleteResult::Kind;
namespace fs = std::filesystem;

namespace {

const Support::Date start = Support::dateFromUnix(1'795'000'000); // 2026-11-18

/// Says every path is a file of 4 KiB: lets a test reach the removal of something that is not a file.
class EverythingIsAFile final : public Intelligence::FileInspecting {
public:
    bool fileExists(const fs::path&) const override { return true; }
    std::optional<std::uint64_t> fileSize(const fs::path&) const override { return 4096; }
};

struct VideoExpiry : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::InMemoryUserDefaults defaults;
    Support::NotificationCenter center;
    Intelligence::LiveFileInspector liveFiles;
    Database::VideoMuxActivity mux;
    Fakes::FakePowerEvents power;
    Database::SqliteDatabase database{":memory:"};
    Fakes::TempFolder dir;
    std::optional<fs::path> activeFile;
    std::vector<Support::Notification> posted;
    Support::Subscription observer =
        center.observe(UI::VideoNotifications::recordingContentDidUpdate,
                       [this](const Support::Notification& n) { posted.push_back(n); });
    Support::LogCapture logs;

    std::unique_ptr<VideoExpiryCoordinator> make(const Intelligence::FileInspecting& files) {
        return std::make_unique<VideoExpiryCoordinator>(VideoExpiryCoordinator::Dependencies{
            .scheduler = scheduler,
            .defaults = defaults,
            .center = center,
            .files = files,
            .muxActivity = mux,
            .powerEvents = &power,
            .activeRecordingFile = [this] { return activeFile; },
        });
    }
    std::unique_ptr<VideoExpiryCoordinator> coordinator = make(liveFiles);

    /// Stores a recording with its audio file and, when `videoBytes` is given, a video beside it.
    DatabaseManager::Recording add(const std::string& name, double daysAgo,
                                   std::optional<std::size_t> videoBytes) {
        auto r = VideoTest::recording(name, start, daysAgo, dir.path);
        VideoTest::writeFile(r.fileURL, 10, 'a');
        if (videoBytes) {
            VideoTest::writeFile(dir.path / (name + ".mp4"), *videoBytes);
        }
        r.id = database.insertRecording(r);
        database.addFrameIndexEntries({{r.id, 5, "Quarterly numbers"}});
        return r;
    }
    fs::path video(const std::string& name) { return dir.path / (name + ".mp4"); }

    std::optional<VideoExpiryCoordinator::Report> sweep() {
        coordinator->start(database);
        coordinator->stop();
        return VideoTest::await(loop, coordinator->run(start));
    }
    long finishedSweeps() const {
        auto messages = logs.messages("videoExpiry");
        return std::count_if(messages.begin(), messages.end(),
                             [](const std::string& m) { return m.rfind("runExpirySweep finished", 0) == 0; });
    }
};

TEST_F(VideoExpiry, ASweepDeletesExactlyTheVideosOlderThanTheCutOffAndReportsTheirBytes) {
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::sevenDays);
    auto old1 = add("old-standup", 10, 100);
    auto old2 = add("old-review", 7.01, 250);
    auto oldNoVideo = add("old-audio-only", 30, std::nullopt);
    auto recent = add("recent-demo", 6.99, 400);

    auto report = sweep();

    ASSERT_TRUE(report);
    EXPECT_EQ(*report, (VideoExpiryCoordinator::Report{3, 2, 350}));
    EXPECT_FALSE(fs::exists(video("old-standup")));
    EXPECT_FALSE(fs::exists(video("old-review")));
    EXPECT_TRUE(fs::exists(video("recent-demo")));
    for (const auto& r : {old1, old2, oldNoVideo, recent}) {
        EXPECT_TRUE(fs::exists(r.fileURL)) << "the audio of " << r.title << " stays";
        EXPECT_TRUE(database.recording(r.id)) << r.title;
    }
    EXPECT_TRUE(database.frameIndex(old1.id).empty());
    EXPECT_TRUE(database.frameIndex(old2.id).empty());
    EXPECT_EQ(database.frameIndex(recent.id).size(), 1u);

    std::vector<std::pair<std::string, std::string>> changes;
    for (const auto& n : posted) {
        changes.emplace_back(*n.value("recordingId"), *n.value("type"));
    }
    auto id = [](const DatabaseManager::Recording& r) { return std::to_string(r.id); };
    // Newest first, as the store lists them.
    EXPECT_EQ(
        changes,
        (std::vector<std::pair<std::string, std::string>>{
            {id(old2), "video"}, {id(old2), "frameIndex"}, {id(old1), "video"}, {id(old1), "frameIndex"}}));
    EXPECT_TRUE(logs.contains("runExpirySweep: Running sweep for recordings before 2026-11-11T"));
    EXPECT_TRUE(logs.contains("(7 days policy)"));
    EXPECT_TRUE(logs.contains("runExpirySweep finished: scanned 3, deleted 2 videos, freed 350 bytes"));
    EXPECT_TRUE(logs.contains("Deleted video file: " + video("old-standup").string()));
    EXPECT_FALSE(coordinator->isSweeping());
}

TEST_F(VideoExpiry, TheNeverOptionDeletesNothingAndPreviewsNothing) {
    auto old = add("ancient", 400, 100);

    EXPECT_FALSE(sweep());
    EXPECT_TRUE(fs::exists(video("ancient")));
    EXPECT_TRUE(logs.contains("runExpirySweep: Expiry policy is set to Never. Skipping sweep."));
    auto preview =
        VideoTest::await(loop, coordinator->preview(AudioEngine::VideoExpiryPreferences::never, start));
    EXPECT_TRUE(preview.isEmpty());
    EXPECT_EQ(preview.bytes, 0);
    EXPECT_EQ(database.frameIndex(old.id).size(), 1u);
}

TEST_F(VideoExpiry, APreviewListsWhatEachOptionWouldRemoveWithoutDeletingIt) {
    auto a = add("a", 100, 300);
    auto b = add("b", 40, 200);
    add("c", 10, 100);
    add("d", 1, 50);
    coordinator->start(database);
    coordinator->stop();

    struct Case {
        std::uint8_t option;
        std::int64_t bytes;
        size_t count;
    };
    for (auto c : {Case{0, 0, 0}, Case{1, 600, 3}, Case{2, 500, 2}, Case{3, 300, 1}, Case{9, 300, 1}}) {
        auto preview = VideoTest::await(loop, coordinator->preview(c.option, start));
        EXPECT_EQ(preview.bytes, c.bytes) << int(c.option);
        EXPECT_EQ(preview.recordings.size(), c.count) << int(c.option);
    }
    auto preview = VideoTest::await(loop, coordinator->preview(2, start));
    ASSERT_EQ(preview.recordings.size(), 2u);
    EXPECT_EQ(preview.recordings[0], (VideoExpiryCoordinator::Preview::Item{b.id, "b", video("b"), 200}));
    EXPECT_EQ(preview.recordings[1].recordingId, a.id);
    EXPECT_TRUE(fs::exists(video("a")));
}

TEST_F(VideoExpiry, OverlappingTriggersGiveOneSweep) {
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::thirtyDays);
    add("old", 31, 10);
    add("older", 60, 10);
    coordinator->start(database);

    scheduler.advance(std::chrono::seconds(29));
    EXPECT_EQ(finishedSweeps(), 0) << "the first sweep waits 30 seconds";
    // Three triggers in one turn of the loop: the first sweep begins and waits for the library off the
    // loop before the other two begin, whatever the speed of this machine.
    auto first = coordinator->run(start);
    power.wake();
    auto direct = coordinator->run(start);
    VideoTest::runUntil(loop,
                        [&] { return first.isDone() && direct.isDone() && !coordinator->isSweeping(); });

    EXPECT_TRUE(first.get());
    EXPECT_FALSE(direct.get());
    EXPECT_EQ(finishedSweeps(), 1);
    EXPECT_TRUE(logs.contains("runExpirySweep: A sweep is already running. Skipping."));
    EXPECT_TRUE(logs.contains("runExpirySweep finished: scanned 2, deleted 2 videos, freed 20 bytes"));
}

TEST_F(VideoExpiry, SweepsRunDailyAndOnWakeUntilStopped) {
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::ninetyDays);
    coordinator->start(database);
    auto settle = [&] { VideoTest::runUntil(loop, [&] { return !coordinator->isSweeping(); }); };

    scheduler.advance(std::chrono::seconds(30));
    settle();
    EXPECT_EQ(finishedSweeps(), 1);
    scheduler.advance(std::chrono::hours(24));
    settle();
    EXPECT_EQ(finishedSweeps(), 2);
    power.wake();
    loop.runUntilIdle();
    settle();
    EXPECT_EQ(finishedSweeps(), 3);

    coordinator->stop();
    power.wake();
    scheduler.advance(std::chrono::hours(72));
    settle();
    EXPECT_EQ(finishedSweeps(), 3);
    EXPECT_EQ(scheduler.pendingTimers(), 0u);
}

TEST_F(VideoExpiry, TheActiveRecordingAndAVideoBeingAssembledAreNeverDeleted) {
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::sevenDays);
    auto active = add("in-progress", 20, 100);
    auto muxing = add("muxing", 20, 100);
    add("done", 20, 100);
    activeFile = active.fileURL;
    auto mark = mux.begin(dir.path / "." / "muxing.mp4");

    auto report = sweep();

    ASSERT_TRUE(report);
    EXPECT_EQ(*report, (VideoExpiryCoordinator::Report{3, 1, 100}));
    EXPECT_TRUE(fs::exists(video("in-progress")));
    EXPECT_TRUE(fs::exists(video("muxing")));
    EXPECT_FALSE(fs::exists(video("done")));
    EXPECT_TRUE(
        logs.contains("deleteVideo: Cannot delete video for active recording " + std::to_string(active.id)));
    EXPECT_TRUE(logs.contains("deleteVideo: Cannot delete video while it is being muxed: " +
                              video("muxing").string()));
    EXPECT_TRUE(
        logs.contains("runExpirySweep: Failed to delete video for recording " + std::to_string(muxing.id)));

    auto preview = VideoTest::await(loop, coordinator->preview(1, start));
    EXPECT_TRUE(preview.isEmpty()) << "what a sweep would refuse is not promised either";

    mark.reset();
    auto result = VideoTest::await(loop, coordinator->deleteVideo(muxing));
    EXPECT_EQ(result.kind, Kind::deleted);
    EXPECT_EQ(result.bytes, 100);
}

TEST_F(VideoExpiry, DeletingOneVideoRefusesInWordsWhenThereIsNoFile) {
    auto r = add("no-video", 1, std::nullopt);
    coordinator->start(database);
    coordinator->stop();

    auto result = VideoTest::await(loop, coordinator->deleteVideo(r));

    EXPECT_EQ(result.kind, Kind::noVideoFile);
    EXPECT_EQ(result.videoURL, video("no-video"));
    EXPECT_TRUE(logs.contains("deleteVideo: No video file found at " + video("no-video").string()));
    EXPECT_EQ(VideoExpiryCoordinator::describe(result, "no-video"),
              "There is no screen video file for \u201Cno-video\u201D.");
    EXPECT_TRUE(posted.empty());
}

TEST_F(VideoExpiry, AVideoThatCannotBeRemovedIsLoggedAndTheSweepGoesOn) {
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::sevenDays);
    EverythingIsAFile files;
    coordinator = make(files);
    auto stuck = add("stuck", 20, std::nullopt);
    VideoTest::writeFile(video("stuck") / "inside", 1); // a non-empty folder where the video should be
    add("fine", 21, 10);

    auto report = sweep();

    ASSERT_TRUE(report);
    EXPECT_EQ(report->videosDeleted, 1);
    EXPECT_EQ(report->bytesFreed, 4096);
    EXPECT_TRUE(fs::exists(video("stuck") / "inside"));
    EXPECT_TRUE(logs.contains("runExpirySweep: Failed to delete video for recording " +
                              std::to_string(stuck.id) + ": "));
    EXPECT_EQ(database.frameIndex(stuck.id).size(), 1u);
}

TEST_F(VideoExpiry, TheStoredVideoLocationWinsOverTheOneBesideTheAudio) {
    auto r = VideoTest::recording("call", start, 1, dir.path);
    EXPECT_EQ(coordinator->videoURL(r), dir.path / "call.mp4");
    EXPECT_FALSE(coordinator->has(r));
    r.videoFileURL = dir.path / "screen" / "call-screen.webm";
    VideoTest::writeFile(*r.videoFileURL, 3);
    EXPECT_EQ(coordinator->videoURL(r), *r.videoFileURL);
    EXPECT_TRUE(coordinator->has(r));

    r.videoFileURL.reset();
    r.fileURL = dir.path / "combined.mp4";
    EXPECT_NE(coordinator->videoURL(r), r.fileURL) << "a recording file is never taken for its own video";
}

} // namespace

TEST_F(VideoExpiry, ACoordinatorGoingAwayBeforeItsSweepBeganDeletesNothing) {
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::thirtyDays);
    auto old = add("old", 31, 10);
    auto sweeping = coordinator->run(start);
    auto deleting = coordinator->deleteVideo(old);
    coordinator.reset();
    VideoTest::runUntil(loop, [&] { return sweeping.isDone() && deleting.isDone(); });

    EXPECT_TRUE(sweeping.wasCancelled());
    EXPECT_TRUE(deleting.wasCancelled());
    EXPECT_TRUE(fs::exists(video("old")));
    EXPECT_TRUE(posted.empty());
}

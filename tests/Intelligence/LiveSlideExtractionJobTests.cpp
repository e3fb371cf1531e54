// The live job against stand-in ffmpeg and tesseract scripts on $PATH: the "frames" they write are text
// files, and the stand-in tesseract reads a frame's text by printing the file.
#include "Database/Sqlite/SqliteDatabase.h"
#include "Fakes/TempFolder.h"
#include "Intelligence/SlideExtractionJob.h"
#include "Support/BlockingWork.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>

using Outcome = Intelligence::Slide::Outcome;
namespace fs = std::filesystem;

namespace {

void writeScript(const fs::path& path, const std::string& body) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << "#!/bin/sh\nPATH=/usr/bin:/bin\n" << body;
    fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
}

// Writes three frames (one blank, one slide, one dense screen) and reports their times like showinfo.
const char* ffmpegScript = R"(for last; do :; done
if [ -n "$FAKE_FFMPEG_SLEEP" ]; then sleep 30; fi
if [ -n "$FAKE_FFMPEG_FAIL" ]; then echo "Invalid data found when processing input" >&2; exit 1; fi
out=$(dirname "$last")
printf '' > "$out/frame-00001.jpg"
printf 'Quarterly results\nRevenue up twelve percent\n' > "$out/frame-00002.jpg"
words=""; i=0; while [ $i -lt 40 ]; do words="$words alpha beta gamma delta"; i=$((i+1)); done
echo "$words" > "$out/frame-00003.jpg"
echo "[Parsed_showinfo_2 @ 0x55] n:   0 pts:      0 pts_time:0       duration:1" >&2
echo "[Parsed_showinfo_2 @ 0x55] n:   1 pts:  12800 pts_time:12.5    duration:1" >&2
echo "[Parsed_showinfo_2 @ 0x55] n:   2 pts:  40960 pts_time:40      duration:1" >&2
)";

struct PathGuard {
    std::string saved = std::getenv("PATH") ? std::getenv("PATH") : "";
    explicit PathGuard(const std::string& path) { ::setenv("PATH", path.c_str(), 1); }
    ~PathGuard() {
        ::setenv("PATH", saved.c_str(), 1);
        ::unsetenv("FAKE_FFMPEG_SLEEP");
        ::unsetenv("FAKE_FFMPEG_FAIL");
    }
};

template <typename T> T await(Support::MainLoop& loop, const Support::Task<T>& task) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!task.isDone() && std::chrono::steady_clock::now() < deadline) {
        loop.runOne(20);
    }
    EXPECT_TRUE(task.isDone());
    return task.get();
}

struct LiveSlideExtractionJob : ::testing::Test {
    Support::MainLoop loop;
    Fakes::TempFolder dir;
    fs::path tools = dir.path / "bin";
    fs::path slidesRoot = dir.path / "data" / "Slides";
    fs::path screensRoot = dir.path / "data" / "Screens";
    fs::path video = dir.path / "call.mp4";
    Database::SqliteDatabase database{":memory:"};
    Database::RecordingId id = 0;
    std::shared_ptr<Intelligence::SlideExtractionJob> job = Intelligence::SlideExtractionJob::live(
        database, Intelligence::SlidesConfiguration::standard(), slidesRoot);

    void SetUp() override {
        std::ofstream(video) << "not really a video";
        Database::DatabaseManager::Recording r;
        r.title = "call";
        r.fileURL = dir.path / "call.m4a";
        id = database.insertRecording(r);
        fs::create_directories(tools);
    }
    void installTools() {
        writeScript(tools / "ffmpeg", ffmpegScript);
        writeScript(tools / "tesseract", "cat \"$1\"\n");
    }
    Outcome run(bool force = false) { return await(loop, job->run(id, video, force)); }
    void TearDown() override { Support::BlockingWork::drain(); }
};

TEST_F(LiveSlideExtractionJob, SaysPlainlyWhichToolIsMissing) {
    PathGuard path(tools.string());
    auto outcome = run();
    EXPECT_EQ(outcome, (Outcome{Outcome::Kind::toolMissing, 0, 0,
                                "Slides can't be read: ffmpeg and tesseract aren't installed."}));
    writeScript(tools / "ffmpeg", "exit 0\n");
    EXPECT_EQ(run().message, "Slides can't be read: tesseract isn't installed.");
    EXPECT_FALSE(fs::exists(slidesRoot / std::to_string(id)));
}

TEST_F(LiveSlideExtractionJob, StoresSlidesScreensAndFrameTextFromTheFramesWhereThePictureChanged) {
    installTools();
    PathGuard path(tools.string());

    auto outcome = run();

    EXPECT_EQ(outcome, (Outcome{Outcome::Kind::read, 1, 1, {}}));
    auto slides = database.slides(id);
    ASSERT_EQ(slides.size(), 1u);
    EXPECT_EQ(slides[0].time, 12.5);
    EXPECT_EQ(slides[0].text, "Quarterly results\nRevenue up twelve percent");
    EXPECT_TRUE(fs::exists(slidesRoot / std::to_string(id) / slides[0].imageName));
    auto screens = database.screenCaptures(id);
    ASSERT_EQ(screens.size(), 1u);
    EXPECT_EQ(screens[0].time, 40);
    EXPECT_TRUE(screens[0].isFeatured);
    EXPECT_EQ(screens[0].rank, 0);
    EXPECT_TRUE(fs::exists(screensRoot / std::to_string(id) / screens[0].imageName));
    EXPECT_EQ(database.frameIndex(id).size(), 2u);
    // Nothing of the work is left beside the stores.
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(dir.path / "data")) {
        left.push_back(entry.path().filename().string());
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"Screens", "Slides"}));

    EXPECT_EQ(run(false).kind, Outcome::Kind::alreadyRead);
    EXPECT_EQ(run(true), (Outcome{Outcome::Kind::read, 1, 1, {}}));
    EXPECT_EQ(database.slides(id).size(), 1u) << "reading again replaces, never adds";
    EXPECT_EQ(fs::directory_iterator(slidesRoot / std::to_string(id))->path().filename(), "slide-001.jpg");
}

TEST_F(LiveSlideExtractionJob, AFailedReadingLeavesWhatWasStoredBefore) {
    installTools();
    PathGuard path(tools.string());
    ASSERT_EQ(run().kind, Outcome::Kind::read);
    ::setenv("FAKE_FFMPEG_FAIL", "1", 1);

    auto outcome = run(true);

    EXPECT_EQ(outcome, (Outcome{Outcome::Kind::failed, 0, 0,
                                "ffmpeg couldn't read the video: Invalid data found when processing input"}));
    EXPECT_EQ(database.slides(id).size(), 1u);
    EXPECT_TRUE(fs::exists(slidesRoot / std::to_string(id) / "slide-001.jpg"));
}

TEST_F(LiveSlideExtractionJob, CancellingStopsTheToolsAndStoresNothing) {
    installTools();
    PathGuard path(tools.string());
    ::setenv("FAKE_FFMPEG_SLEEP", "1", 1);
    auto started = std::chrono::steady_clock::now();

    auto task = job->run(id, video, true);
    loop.runUntilIdle();
    task.cancel();
    auto outcome = await(loop, task);

    EXPECT_EQ(outcome.kind, Outcome::Kind::cancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10)) << "ffmpeg was stopped";
    EXPECT_TRUE(database.slides(id).empty());
    EXPECT_FALSE(fs::exists(slidesRoot / std::to_string(id)));
}

TEST_F(LiveSlideExtractionJob, ARecordingWithoutVideoIsNotRead) {
    installTools();
    PathGuard path(tools.string());
    auto outcome = await(loop, job->run(id, std::nullopt, false));
    EXPECT_EQ(outcome, (Outcome{Outcome::Kind::noVideo, 0, 0, "This recording has no screen video."}));
}

} // namespace

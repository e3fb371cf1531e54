#include "AudioEngine/FfmpegScreenCapture.h"

#include "AudioEngine/ScreenVideoFinaliser.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <random>
#include <regex>

// Xlib's macros (None, Bool, Status) clash with GoogleTest's names: included last.
#include "Fakes/ScriptFolder.h"
#include "Fakes/SlideDisplay.h"
#include "Fakes/VideoFrames.h"

using AudioEngine::FfmpegScreenCapture;
using AudioEngine::ScreenVideoFinaliser;
namespace fs = std::filesystem;

namespace {

struct FfmpegScreen : ::testing::Test {
    Fakes::VirtualDisplay display{320, 240};
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'795'000'000)};
    fs::path folder =
        fs::temp_directory_path() / ("vellmora-ffmpeg-" + std::to_string(std::random_device{}()));
    std::optional<fs::path> ffmpeg = Platform::findExecutable("ffmpeg", std::getenv("PATH"));

    void SetUp() override {
        if (!display.isRunning() || !ffmpeg) {
            GTEST_SKIP() << "needs Xvfb and ffmpeg";
        }
        fs::create_directories(folder);
    }
    ~FfmpegScreen() override { fs::remove_all(folder); }

    FfmpegScreenCapture::Options options(const std::string& displayName) {
        FfmpegScreenCapture::Options o;
        o.executable = *ffmpeg;
        o.display = displayName;
        o.frameRate = 4;
        o.logFile = folder / "screen.log";
        return o;
    }
    /// Runs the loop, the virtual clock following real time, until `done()` (at most a minute).
    bool runUntil(const std::function<bool()>& done) {
        const bool held = Fakes::runFollowingRealTime(loop, scheduler, done);
        if (!held) {
            ADD_FAILURE() << "timed out";
        }
        return held;
    }
};

TEST_F(FfmpegScreen, AKilledCaptureLeavesAVideoThatPlaysUpToItsLastSecondsAndIsFinalised) {
    FfmpegScreenCapture capture(scheduler, options(display.name()));
    auto file = folder / "call.mkv";
    auto started = capture.start(file, scheduler.now());
    ASSERT_TRUE(runUntil([&] { return started.isDone(); }));
    started.get();
    ASSERT_TRUE(capture.processId());
    // Three seconds at four frames a second: more than one two-second cluster reached the disk.
    ASSERT_TRUE(runUntil([&] { return Fakes::framesWritten(folder / "screen.log") >= 12; }));
    ::kill(*capture.processId(), SIGKILL);
    ASSERT_TRUE(runUntil([&] { return !capture.processId(); }));

    auto frames = Fakes::videoFrames(file);
    EXPECT_GE(frames, 4) << "the frames of the complete clusters play";
    EXPECT_FALSE(ScreenVideoFinaliser::finaliseBlocking(*ffmpeg, file));
    EXPECT_GE(Fakes::videoFrames(file), frames);
    EXPECT_FALSE(fs::exists(folder / "call.mkv.part"));
}

TEST_F(FfmpegScreen, ADisplayThatCannotBeOpenedIsASentenceAndLeavesNoFile) {
    auto o = options(":999");
    // The check ends as soon as ffmpeg does; a long one keeps a slow ffmpeg on a busy machine from
    // counting as started.
    o.startCheck = Support::seconds(50);
    FfmpegScreenCapture capture(scheduler, o);
    auto file = folder / "call.mkv";
    auto started = capture.start(file, scheduler.now());
    ASSERT_TRUE(runUntil([&] { return started.isDone(); }));
    try {
        started.get();
        FAIL() << "started";
    } catch (const AudioEngine::CaptureError& e) {
        EXPECT_EQ(std::string(e.what()).rfind(
                      "The screen is not recorded: ffmpeg could not capture the display :999", 0),
                  0u)
            << e.what();
    }
    EXPECT_FALSE(capture.isCapturing());
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(FfmpegScreen, TheFinaliserLeavesWhatItCannotReadAsItWas) {
    auto garbage = folder / "garbage.mkv";
    std::ofstream(garbage) << "not a video";
    auto problem = ScreenVideoFinaliser::finaliseBlocking(*ffmpeg, garbage);
    ASSERT_TRUE(problem);
    EXPECT_NE(problem->find("could not finalise"), std::string::npos) << *problem;
    std::ifstream in(garbage);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text, "not a video");
    EXPECT_FALSE(fs::exists(folder / "garbage.mkv.part"));
    EXPECT_TRUE(ScreenVideoFinaliser::finaliseBlocking(*ffmpeg, folder / "missing.mkv"));
}

} // namespace

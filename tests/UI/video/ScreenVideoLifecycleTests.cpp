// The life of a real screen video: recorded under Xvfb while a window shows three slides, read by the
// slides extraction (ffmpeg and tesseract), then deleted by the retention while the audio, the transcript
// and the slides stay. Skipped where Xvfb, ffmpeg or tesseract is missing.
#include "AudioEngine/FfmpegScreenCapture.h"
#include "AudioEngine/ScreenCapturePreferences.h"
#include "AudioEngine/ScreenRecordingCapture.h"
#include "AudioEngine/SimulatedCapture.h"
#include "AudioEngine/VideoExpiryPreferences.h"
#include "Database/VideoMuxActivity.h"
#include "Intelligence/FileInspecting.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/Scheduler.h"
#include "UI/video/SlidesExtractionService.h"
#include "UI/video/VideoExpiryCoordinator.h"
#include "UI/video/VideoTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <regex>

// Xlib's macros (None, Bool, Status) clash with GoogleTest's names: included last.
#include "Fakes/ScriptFolder.h"
#include "Fakes/SlideDisplay.h"
#include "Fakes/VideoFrames.h"

namespace fs = std::filesystem;

namespace {

const Support::Date start = Support::dateFromUnix(1'795'000'000);

std::string lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

struct ScreenVideoLifecycle : ::testing::Test {
    Fakes::VirtualDisplay display{640, 360};
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, start};
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    Fakes::TempFolder dir;
    fs::path log = dir.path / "screen.log";
    std::optional<fs::path> ffmpeg = Platform::findExecutable("ffmpeg", std::getenv("PATH"));

    void SetUp() override {
        if (!display.isRunning() || !ffmpeg || !Platform::findExecutable("tesseract", std::getenv("PATH"))) {
            GTEST_SKIP() << "needs Xvfb, ffmpeg and tesseract";
        }
    }

    /// Runs the loop with the virtual clock following real time (so that ffmpeg, which runs in real time,
    /// is never given up on early) until `done()`; fails after a minute.
    bool runUntil(const std::function<bool()>& done) {
        const bool held = Fakes::runFollowingRealTime(loop, scheduler, done);
        if (!held) {
            ADD_FAILURE() << "timed out";
        }
        return held;
    }
    template <typename T> T await(const Support::Task<T>& task) {
        runUntil([&] { return task.isDone(); });
        return task.get();
    }
};

TEST_F(ScreenVideoLifecycle,
       ARecordingOfThreeSlidesGivesAVideoWhoseSlidesAreReadAndThatRetentionDeletesAlone) {
    Fakes::SlideWindow window(display.name());
    ASSERT_TRUE(window.isOpen());
    const std::vector<std::vector<std::string>> slides = {
        {"Quarterly budget review", "Finance team"},
        {"Hiring plan for spring", "Two engineers"},
        {"Open questions and risks", "Next steps"},
    };
    const unsigned long backgrounds[] = {0xffffff, 0xffcc44, 0x66aaff};
    window.show(backgrounds[0], slides[0]);

    AudioEngine::ScreenCapturePreferences::setEnabled(defaults, true);
    AudioEngine::ScreenCapturePreferences::setFrameRate(defaults, 2);
    std::vector<std::string> said;
    std::vector<fs::path> marked;
    AudioEngine::ScreenRecordingCapture capture(
        std::make_unique<AudioEngine::SimulatedCapture>(scheduler),
        {.defaults = defaults,
         .makeScreen =
             [&](double rate) {
                 return std::make_unique<AudioEngine::FfmpegScreenCapture>(
                     scheduler, AudioEngine::FfmpegScreenCapture::Options{.executable = *ffmpeg,
                                                                          .display = display.name(),
                                                                          .frameRate = rate,
                                                                          .logFile = log});
             },
         .ffmpeg = *ffmpeg,
         .markAssembling =
             [&](const fs::path& video) {
                 marked.push_back(video);
                 return Database::VideoMuxActivity::shared().begin(video);
             },
         .say = [&](const std::string& text) { said.push_back(text); }});

    auto session = await(capture.start(dir.path / "Recordings"));
    ASSERT_NE(capture.screen(), nullptr) << (said.empty() ? "" : said.front());
    // Each slide stays for eight frames at two frames a second; the next one shows once ffmpeg wrote them.
    const int framesPerSlide = 8;
    for (int i = 1; i <= 3; ++i) {
        ASSERT_TRUE(runUntil([&] { return Fakes::framesWritten(log) >= framesPerSlide * i; }));
        if (i < 3) {
            window.show(backgrounds[i], slides[i]);
        }
    }
    auto recording = await(capture.stop());
    ASSERT_TRUE(recording);
    ASSERT_TRUE(recording->videoFile);
    EXPECT_EQ(*recording->videoFile,
              session.audioFile.parent_path() / (session.audioFile.stem().string() + ".mkv"));
    ASSERT_TRUE(recording->videoOffset);
    EXPECT_GE(*recording->videoOffset, Support::Duration{});
    EXPECT_TRUE(said.empty());
    // The video was marked as being assembled while it was finalised, and is free again.
    EXPECT_EQ(marked, std::vector<fs::path>{*recording->videoFile});
    EXPECT_FALSE(Database::VideoMuxActivity::shared().isMuxing(*recording->videoFile));

    // The finalised video has a duration of about the frames written, and stays small.
    Platform::PosixProcessRunner runner;
    auto probe = runner.runBlocking({.executable = "/usr/bin/ffprobe",
                                     .arguments = {"-v", "error", "-show_entries", "format=duration", "-of",
                                                   "csv=p=0", recording->videoFile->string()}});
    ASSERT_TRUE(probe.succeeded()) << probe.standardError;
    double seconds = std::stod(probe.standardOutput);
    EXPECT_GE(seconds, 3.0 * framesPerSlide / 2 - 0.5);
    EXPECT_LE(seconds, 3.0 * framesPerSlide / 2 + 3);
    // Under 60 MB an hour is under about 17 KB a second; a still slide costs far less.
    EXPECT_LT(fs::file_size(*recording->videoFile), 17'000 * (seconds + 1));

    Database::SqliteDatabase database(":memory:");
    Database::DatabaseManager::Recording record;
    record.title = "Planning";
    record.startDate = recording->startedAt;
    record.duration = recording->durationSeconds;
    record.fileURL = recording->audioFile;
    record.videoFileURL = recording->videoFile;
    record.videoOffset = Support::toSeconds(*recording->videoOffset);
    auto id = database.insertRecording(record);
    database.saveTranscript(id, {{0, id, 0, 2, "Let us look at the budget.", "Ana", true}});

    auto slidesRoot = dir.path / "Slides";
    UI::SlidesExtractionService service(database, center, slidesRoot, {.makeJob = [&] {
                                            return Intelligence::SlideExtractionJob::live(
                                                database, Intelligence::SlidesConfiguration::standard(),
                                                slidesRoot);
                                        }});
    auto outcome = await(service.extract(id));
    ASSERT_EQ(outcome.kind, Intelligence::Slide::Outcome::Kind::read) << outcome.message;
    auto stored = database.slides(id);
    std::string texts;
    for (const auto& slide : stored) {
        texts += "[" + slide.text + "] ";
    }
    ASSERT_EQ(stored.size(), 3u) << texts;
    const char* keywords[] = {"budget", "hiring", "questions"};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_NE(lowercase(stored[i].text).find(keywords[i]), std::string::npos) << stored[i].text;
    }

    // Eight days later, with a week's retention, the video goes and everything else stays.
    AudioEngine::VideoExpiryPreferences::setOption(defaults, AudioEngine::VideoExpiryPreferences::sevenDays);
    Intelligence::LiveFileInspector files;
    UI::VideoExpiryCoordinator expiry(
        {.scheduler = scheduler, .defaults = defaults, .center = center, .files = files});
    expiry.start(database);
    expiry.stop();
    auto later = recording->startedAt + std::chrono::hours(24 * 8);
    auto preview = await(expiry.preview(AudioEngine::VideoExpiryPreferences::sevenDays, later));
    ASSERT_EQ(preview.recordings.size(), 1u);
    EXPECT_EQ(preview.recordings[0].videoURL, *recording->videoFile);
    EXPECT_EQ(preview.recordings[0].bytes, std::int64_t(fs::file_size(*recording->videoFile)));
    auto report = await(expiry.run(later));
    ASSERT_TRUE(report);
    EXPECT_EQ(report->videosDeleted, 1);
    EXPECT_FALSE(fs::exists(*recording->videoFile));
    EXPECT_TRUE(fs::exists(recording->audioFile));
    EXPECT_EQ(database.allSegments(id).size(), 1u);
    EXPECT_EQ(database.slides(id).size(), 3u);
    EXPECT_TRUE(fs::exists(slidesRoot / std::to_string(id) / stored[0].imageName));
}

} // namespace

#include "App/host/RecordingArchiver.h"

#include "AudioEngine/CaptureJournal.h"
#include "AudioEngine/FfmpegScreenCapture.h"
#include "AudioEngine/OpusTrackWriter.h"
#include "AudioEngine/RecordingRecovery.h"
#include "AudioEngine/ScreenCapturePreferences.h"
#include "AudioEngine/ScreenRecordingCapture.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Fakes/ScriptFolder.h"
#include "Fakes/VideoFrames.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "UI/calendar/ReminderTestMeetings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>

// Xlib's macros (None, Bool, Status) clash with GoogleTest's names: included last.
#include "Fakes/SlideDisplay.h"

using namespace ReminderTest;

namespace {

AudioEngine::CapturedRecording twoTracks() {
    AudioEngine::CapturedRecording r;
    r.recordingId = "r1";
    r.startedAt = at(10, 0);
    r.durationSeconds = 1800;
    r.audioFile = "/rec/r1/microphone.wav";
    r.tracks = {{.file = "/rec/r1/microphone.wav", .isMicrophone = true, .offset = Support::seconds(0)},
                {.file = "/rec/r1/system.wav", .isMicrophone = false, .offset = Support::seconds(0.25)}};
    r.videoFile = "/rec/r1/screen.mp4";
    return r;
}

struct RecordingArchiverTest : ::testing::Test {
    Support::MainLoop loop;
    Database::SqliteDatabase database{":memory:"};
    std::optional<UI::CalendarMeeting> meeting;
    std::vector<std::string> said;
    std::vector<std::pair<Database::RecordingId, bool>> added;

    std::unique_ptr<App::RecordingArchiver> archiver(Database::DatabaseManager* db) {
        auto a = std::make_unique<App::RecordingArchiver>(App::RecordingArchiver::Dependencies{
            .database = db,
            .takeMeeting = [this] { return std::exchange(meeting, std::nullopt); },
            .say = [this](const std::string& text) { said.push_back(text); }});
        subscription = a->recordingAdded.connect(
            [this](Database::RecordingId id, bool hasVideo) { added.emplace_back(id, hasVideo); });
        return a;
    }
    void finish(App::RecordingArchiver& a) {
        auto idle = a.idle();
        ASSERT_TRUE(Fakes::runUntil(loop, [&] { return idle.isDone(); }));
    }
    Support::Subscription subscription;
};

} // namespace

TEST_F(RecordingArchiverTest, ARecordingOfAMeetingBecomesARecordWithItsTracksAndTheMeeting) {
    meeting = ReminderTest::meeting("review", at(10, 0), 30, UI::MeetingService::teams);
    meeting->notesExcerpt = "Agenda";
    meeting->attendees = {{.name = "Ada"}, {.name = ""}, {.email = "bob@example.com"}, {.name = "Grace"}};
    auto a = archiver(&database);
    a->archive(twoTracks());
    finish(*a);

    ASSERT_EQ(added.size(), 1u);
    EXPECT_TRUE(added[0].second) << "it has a screen video";
    auto stored = database.recording(added[0].first);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->title, "Meeting review");
    EXPECT_EQ(stored->calendarEventTitle, "Meeting review");
    EXPECT_EQ(stored->calendarEventNotes, "Agenda");
    EXPECT_EQ(stored->meetingPlatform, "teams");
    EXPECT_EQ(stored->participants, (std::vector<std::string>{"Ada", "Grace"}));
    EXPECT_EQ(stored->duration, 1800);
    EXPECT_EQ(stored->fileURL, "/rec/r1/microphone.wav");
    EXPECT_EQ(stored->videoFileURL, "/rec/r1/screen.mp4");
    ASSERT_EQ(stored->tracks.size(), 2u);
    EXPECT_EQ(stored->tracks[0],
              (Database::DatabaseManager::RecordingTrack{"/rec/r1/microphone.wav", true, 0}));
    EXPECT_EQ(stored->tracks[1],
              (Database::DatabaseManager::RecordingTrack{"/rec/r1/system.wav", false, 0.25}));
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0],
              "Saved “Meeting review” (1800 s) to the library as #" + std::to_string(added[0].first));
}

TEST_F(RecordingArchiverTest, ARecordingOfNoMeetingIsTitledByItsLocalStartTime) {
    auto a = archiver(&database);
    auto r = twoTracks();
    r.tracks.clear();
    r.videoFile.reset();
    a->archive(r);
    finish(*a);
    ASSERT_EQ(added.size(), 1u);
    EXPECT_FALSE(added[0].second);
    auto stored = database.recording(added[0].first);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->title, "Recording " + App::RecordingArchiver::localClock(at(10, 0)));
    EXPECT_TRUE(stored->tracks.empty());
    EXPECT_EQ(stored->meetingPlatform, std::nullopt);
}

TEST_F(RecordingArchiverTest, WithoutALibraryOrWhenTheInsertFailsTheUserIsToldWhereTheFileIs) {
    meeting = ReminderTest::meeting("review", at(10, 0));
    auto none = archiver(nullptr);
    none->archive(twoTracks());
    EXPECT_EQ(said, std::vector<std::string>{"Saved a 1800-second recording: /rec/r1/microphone.wav"});
    EXPECT_FALSE(meeting) << "the meeting was taken even so";

    said.clear();
    // A library opened read-only: every insert fails.
    Fakes::ScriptFolder folder;
    { Database::SqliteDatabase created(folder.path / "library.sqlite"); }
    Database::SqliteDatabase readOnly(folder.path / "library.sqlite",
                                      {.mode = Database::SqliteDatabase::Mode::readOnly});
    auto failing = archiver(&readOnly);
    failing->archive(twoTracks());
    finish(*failing);
    EXPECT_TRUE(added.empty());
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0].rfind("The recording was kept at /rec/r1/microphone.wav but could not be added", 0), 0u)
        << said[0];
}

TEST_F(RecordingArchiverTest, QuittingAwaitsEveryInsertThenStoppingDropsAnswersNotYetDelivered) {
    auto a = archiver(&database);
    a->archive(twoTracks());
    a->archive(twoTracks());
    finish(*a);
    a->stop();
    EXPECT_EQ(database.allRecordings().size(), 2u);
    EXPECT_EQ(said.size(), 2u);

    a->archive(twoTracks());
    a->stop();
    Support::BlockingWork::drain();
    while (loop.runOne(0)) {
    }
    EXPECT_EQ(said.size(), 2u) << "nothing is said for an insert whose answer was dropped";
}

namespace {

namespace fs = std::filesystem;

/// The two-track engine's side of a recording whose program dies: at its start it writes the note and a
/// microphone track that a process dying mid-way leaves unfinished (written by a child that exits without
/// finishing it), and it is never stopped. Its start takes 300 ms, as opening the sound devices does.
class InterruptedAudio final : public AudioEngine::CaptureEngine {
public:
    explicit InterruptedAudio(Support::Scheduler& scheduler) : scheduler_(scheduler) {}
    std::string name() const override { return "interrupted"; }
    Support::Task<AudioEngine::CaptureSession> start(fs::path folder) override {
        const auto startedAt = scheduler_.now();
        fs::create_directories(folder);
        const std::string id = "call-1";
        const auto track = folder / (id + ".microphone.opus");
        if (pid_t child = ::fork(); child == 0) {
            AudioEngine::OpusTrackWriter writer(track, AudioEngine::OpusTrackWriter::Options{});
            std::vector<std::int16_t> samples(size_t(4 * 48000));
            for (size_t i = 0; i < samples.size(); ++i) {
                samples[i] = std::int16_t(6000 * std::sin(double(i) * 0.05));
            }
            writer.write(samples);
            ::_exit(0);
        } else {
            ::waitpid(child, nullptr, 0);
        }
        AudioEngine::CaptureJournal journal{id, startedAt, {{track.filename(), true, {}}}};
        Support::Files::writeAtomically(AudioEngine::CaptureJournal::fileFor(folder, id),
                                        journal.serialise());
        capturing_ = true;
        co_await scheduler_.sleepFor(std::chrono::milliseconds(300));
        co_return AudioEngine::CaptureSession{id, startedAt, track};
    }
    Support::Task<std::optional<AudioEngine::CapturedRecording>> stop() override {
        ADD_FAILURE() << "a program that dies stops nothing";
        co_return std::nullopt;
    }
    bool isCapturing() const override { return capturing_; }

private:
    Support::Scheduler& scheduler_;
    bool capturing_ = false;
};

} // namespace

TEST_F(RecordingArchiverTest, ARecordingCutByACrashWithTheScreenRecordedComesBackWithItsVideoInStep) {
    Fakes::VirtualDisplay display(320, 240);
    auto ffmpeg = Platform::findExecutable("ffmpeg", std::getenv("PATH"));
    if (!display.isRunning() || !ffmpeg || !fs::exists("/usr/bin/ffprobe")) {
        GTEST_SKIP() << "needs Xvfb and ffmpeg";
    }
    Fakes::ScriptFolder folder;
    const auto recordings = folder.path / "Recordings";
    const auto log = folder.path / "screen.log";
    Support::VirtualScheduler scheduler(loop, Support::dateFromUnix(1'795'000'000));
    // The clock follows real time, so that ffmpeg (which runs in real time) is never given up on early.
    auto runUntil = [&](const std::function<bool()>& done) {
        return Fakes::runFollowingRealTime(loop, scheduler, done);
    };

    std::optional<AudioEngine::CapturedVideo> running;
    std::optional<int> ffmpegProcess;
    {
        Support::InMemoryUserDefaults defaults;
        AudioEngine::ScreenCapturePreferences::setEnabled(defaults, true);
        AudioEngine::ScreenCapturePreferences::setFrameRate(defaults, 2);
        AudioEngine::FfmpegScreenCapture* screen = nullptr;
        AudioEngine::ScreenRecordingCapture capture(
            std::make_unique<InterruptedAudio>(scheduler),
            {.defaults = defaults,
             .makeScreen =
                 [&](double rate) {
                     auto made = std::make_unique<AudioEngine::FfmpegScreenCapture>(
                         scheduler, AudioEngine::FfmpegScreenCapture::Options{.executable = *ffmpeg,
                                                                              .display = display.name(),
                                                                              .frameRate = rate,
                                                                              .logFile = log});
                     screen = made.get();
                     return made;
                 },
             .ffmpeg = *ffmpeg});
        auto started = capture.start(recordings);
        ASSERT_TRUE(runUntil([&] { return started.isDone(); }));
        started.get();
        ASSERT_NE(capture.screen(), nullptr);
        running = screen->runningVideo();
        ASSERT_TRUE(running);
        EXPECT_GE(running->offset, std::chrono::milliseconds(300)) << "the screen starts after the audio";
        // Five seconds at two frames a second: two-second clusters reached the disk. Then the program dies:
        // ffmpeg is killed with it, nothing is stopped or finalised, the note stays.
        ASSERT_TRUE(runUntil([&] { return Fakes::framesWritten(log) >= 10; }));
        ffmpegProcess = screen->processId();
        ASSERT_TRUE(ffmpegProcess);
        ::kill(*ffmpegProcess, SIGKILL);
        ASSERT_TRUE(runUntil([&] { return !screen->processId(); }));
    }
    ASSERT_TRUE(fs::exists(AudioEngine::CaptureJournal::fileFor(recordings, "call-1")));

    // The next start: the recovery, then the library.
    auto recovered = AudioEngine::RecordingRecovery::recover(recordings);
    EXPECT_TRUE(recovered.problems.empty()) << recovered.problems.front();
    ASSERT_EQ(recovered.recovered.size(), 1u);
    auto a = archiver(&database);
    a->archive(recovered.recovered.front());
    finish(*a);
    ASSERT_EQ(added.size(), 1u);
    EXPECT_TRUE(added[0].second) << "it has a screen video";
    auto stored = database.recording(added[0].first);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->fileURL, recordings / "call-1.microphone.opus");
    EXPECT_GT(stored->duration, 2.5) << "the audio up to its last page";
    EXPECT_EQ(stored->videoFileURL, running->file);
    EXPECT_EQ(stored->videoFileURL, recordings / "call-1.microphone.mkv");
    ASSERT_TRUE(stored->videoOffset);
    EXPECT_NEAR(*stored->videoOffset, Support::toSeconds(running->offset), 0.001);
    EXPECT_GE(Fakes::videoFrames(*stored->videoFileURL), 4)
        << "the video plays up to its last complete cluster";
    EXPECT_FALSE(fs::exists(AudioEngine::CaptureJournal::fileFor(recordings, "call-1")));
}

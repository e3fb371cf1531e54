#include "App/host/RecordingArchiver.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Fakes/ScriptFolder.h"
#include "Support/BlockingWork.h"
#include "Support/MainLoop.h"
#include "UI/calendar/ReminderTestMeetings.h"

#include <gtest/gtest.h>

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

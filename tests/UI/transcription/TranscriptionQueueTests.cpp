// The queue from a saved recording to its stored transcript, over an in-memory library and a queue file in a
// temp folder: both tracks stored with their flags, the menu's notifications, a missing engine that keeps
// the recording queued, a quit mid-way resumed once by the next start, and a second process kept out; and
// when the queue says it is done with a recording (`settled`, which the slides wait for).
#include "Fakes/FakeSpeechRecognizer.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Support/BlockingWork.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "UI/recording/ProcessingNotifications.h"
#include "UI/transcription/TranscriptionQueue.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

using namespace UI;
using namespace std::chrono_literals;
using Intelligence::SpeechSegment;
using Recording = Database::DatabaseManager::Recording;

namespace {

struct Rig {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Database::SqliteDatabase database{":memory:"};
    Support::NotificationCenter center;
    std::shared_ptr<Fakes::FakeSpeechRecognizer> engine = std::make_shared<Fakes::FakeSpeechRecognizer>();
    bool engineConfigured = true;
    std::filesystem::path folder;
    std::vector<std::string> said;
    std::vector<std::string> events; // "started 1", "completed 1", "completed 1: error", "queued 2"
    /// Each `settled` recording, with whether it had its transcript then.
    std::vector<std::pair<Database::RecordingId, bool>> settled;
    Support::SubscriptionBag observers;

    Rig() {
        folder = std::filesystem::temp_directory_path() /
                 ("vellmora-transcription-queue-" + std::to_string(::getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(folder);
        namespace N = ProcessingNotifications;
        observers += center.observe(N::processingStarted, [this](const Support::Notification& n) {
            events.push_back("started " + n.value("recordingId").value_or("?"));
        });
        observers += center.observe(N::processingCompleted, [this](const Support::Notification& n) {
            auto error = n.value("error");
            events.push_back("completed " + n.value("recordingId").value_or("?") +
                             (error ? ": " + *error : ""));
        });
        observers += center.observe(N::processingQueueChanged, [this](const Support::Notification& n) {
            auto text = "queued " + n.value("queuedTranscriptions").value_or("?");
            if (events.empty() || events.back() != text) {
                events.push_back(text);
            }
        });
    }
    ~Rig() { std::filesystem::remove_all(folder); }

    std::unique_ptr<TranscriptionQueue> queue() {
        auto made = std::make_unique<TranscriptionQueue>(TranscriptionQueue::Dependencies{
            .database = database,
            .center = center,
            .scheduler = scheduler,
            .engine = [this]() -> std::shared_ptr<Intelligence::SpeechRecognizer> {
                if (!engineConfigured) {
                    throw Intelligence::TranscriptionError(
                        "No speech engine is set up. Choose one with `vellmora transcription configure`.",
                        true);
                }
                return engine;
            },
            .language = [] { return std::string("en"); },
            .file = TranscriptionQueueFile(folder / "transcription-queue.json"),
            .user =
                [] {
                    return std::optional(CalendarAttendeeHints::User{"Walter Skinner", "ws@fbi.example"});
                },
            .say = [this](const std::string& s) { said.push_back(s); },
        });
        observers += made->settled.connect([this](Database::RecordingId id) {
            auto recording = database.recording(id);
            settled.emplace_back(id, recording && recording->hasTranscript);
        });
        return made;
    }

    /// A saved call: the microphone and what the computer played, the second starting 0.2 s later.
    Database::RecordingId savedCall() {
        Recording r;
        r.title = "Weekly sync";
        r.fileURL = "/recordings/call/mic.ogg";
        r.participants = {"Dana Scully", " Fox Mulder ", "Dana Scully", "", "walter skinner"};
        r.tracks = {{"/recordings/call/mic.ogg", true, 0}, {"/recordings/call/system.ogg", false, 0.2}};
        engine->script["/recordings/call/mic.ogg"] = {{0.5, 2.0, " Morning, shall we start?", ""},
                                                      {5.03, 7.0, " Budget first, then hiring.", ""}};
        engine->script["/recordings/call/system.ogg"] = {{2.0, 4.5, " Yes, <|en|> let's. ", ""},
                                                         {4.8, 6.8, " Budget first, then hiring.", ""},
                                                         {7.0, 8.0, "[BLANK_AUDIO]", ""}};
        return database.insertRecording(r);
    }

    void settle() {
        for (int i = 0; i < 50; ++i) {
            loop.runOne(2);
        }
        Support::BlockingWork::drain();
        for (int i = 0; i < 50; ++i) {
            loop.runOne(2);
        }
    }
    template <typename Predicate> void runUntil(Predicate done) {
        const auto giveUp = std::chrono::steady_clock::now() + 10s;
        while (!done() && std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(5);
        }
        ASSERT_TRUE(done()) << "timed out";
    }
};

} // namespace

TEST(TranscriptionQueue, StoresBothTracksOfASavedCallAndTellsTheMenuAndTheAIJobs) {
    Rig rig;
    auto queue = rig.queue();
    const auto id = rig.savedCall();
    queue->enqueue(id);
    rig.runUntil([&] { return queue->isIdle() && rig.database.recording(id)->hasTranscript; });

    auto segments = rig.database.allSegments(id);
    ASSERT_EQ(segments.size(), 3u);
    EXPECT_EQ(segments[0].text, "Morning, shall we start?");
    EXPECT_TRUE(segments[0].isFromMicrophone);
    EXPECT_EQ(segments[1].text, "Yes, let's.");
    EXPECT_FALSE(segments[1].isFromMicrophone);
    EXPECT_DOUBLE_EQ(segments[1].startTime, 2.2) << "the system track's offset is kept";
    EXPECT_EQ(segments[2].text, "Budget first, then hiring.");
    EXPECT_FALSE(segments[2].isFromMicrophone) << "the microphone's echo is dropped";

    const auto key = std::to_string(id);
    EXPECT_EQ(rig.events,
              (std::vector<std::string>{"queued 1", "started " + key, "completed " + key, "queued 0"}));
    ASSERT_EQ(rig.engine->options.size(), 2u);
    EXPECT_EQ(rig.engine->options[0].language, "en");
    EXPECT_EQ(rig.engine->options[0].attendeeNames, (std::vector<std::string>{"Dana Scully", "Fox Mulder"}));
    EXPECT_TRUE(queue->contents().queue.empty());
}

TEST(TranscriptionQueue, HandsTheEngineTheParticipantsNamesWithoutTheUsersOwn) {
    using User = CalendarAttendeeHints::User;
    const User user{"Walter Skinner", "WS@fbi.example"};
    std::vector<std::string> twenty, twentySix;
    for (int i = 1; i <= 26; ++i) {
        (i <= 20 ? twenty : twentySix).push_back("Agent " + std::to_string(i));
    }
    twentySix.insert(twentySix.begin(), twenty.begin(), twenty.end());
    struct Case {
        const char* what;
        std::vector<std::string> participants;
        std::optional<User> user;
        std::vector<std::string> hints;
    };
    const std::vector<Case> cases{
        {"trimmed, each once, empty names left out",
         {" Dana Scully ", "Fox Mulder", "Dana Scully", "  "},
         std::nullopt,
         {"Dana Scully", "Fox Mulder"}},
        {"the user's name left out whatever its case",
         {"walter SKINNER", "Dana Scully"},
         user,
         {"Dana Scully"}},
        {"the user's address left out whatever its case",
         {"ws@FBI.example", "Dana Scully"},
         user,
         {"Dana Scully"}},
        {"another address kept", {"fm@fbi.example"}, user, {"fm@fbi.example"}},
        {"the first 15 of 20", twenty, std::nullopt,
         std::vector<std::string>(twenty.begin(), twenty.begin() + 15)},
        {"none for more than 25", twentySix, std::nullopt, {}},
    };
    for (const auto& c : cases) {
        Recording r;
        r.participants = c.participants;
        EXPECT_EQ(TranscriptionQueue::attendeeHints(r, c.user), c.hints) << c.what;
    }
}

TEST(TranscriptionQueue, KeepsTheRecordingQueuedWhileNoEngineIsSetUpAndTriesAgainLater) {
    Rig rig;
    rig.engineConfigured = false;
    auto queue = rig.queue();
    const auto id = rig.savedCall();
    queue->enqueue(id);
    rig.settle();
    EXPECT_FALSE(rig.database.recording(id)->hasTranscript);
    auto contents = queue->contents();
    EXPECT_EQ(contents.queue, (std::vector<TranscriptionQueueFile::Entry>{{id, false}}));
    EXPECT_EQ(contents.problem,
              "No speech engine is set up. Choose one with `vellmora transcription configure`.");
    EXPECT_EQ(rig.said, (std::vector<std::string>{"No speech engine is set up. Choose one with `vellmora "
                                                  "transcription configure`. The recording stays queued."}));
    using Settled = std::vector<std::pair<Database::RecordingId, bool>>;
    EXPECT_EQ(rig.settled, (Settled{{id, false}})) << "what waits for the transcript goes ahead without";

    rig.engineConfigured = true;
    rig.scheduler.advance(Support::seconds(600));
    rig.runUntil([&] { return queue->isIdle() && rig.database.recording(id)->hasTranscript; });
    EXPECT_EQ(rig.database.segmentCount(id), 3);
    EXPECT_EQ(queue->contents(), TranscriptionQueueFile::Contents{}) << "the problem is cleared";
    EXPECT_EQ(rig.settled, (Settled{{id, false}, {id, true}}));
}

TEST(TranscriptionQueue, ResumesARecordingInterruptedByAQuitOnceAtTheNextStart) {
    Rig rig;
    const auto id = rig.savedCall();
    {
        auto queue = rig.queue();
        rig.engine->hold = true;
        queue->enqueue(id);
        rig.runUntil([&] { return rig.engine->held.has_value(); });
        queue->stop(); // quit in the middle of the first track
        rig.settle();
    }
    EXPECT_FALSE(rig.database.recording(id)->hasTranscript);
    EXPECT_EQ(rig.engine->asked.size(), 1u);

    rig.engine->hold = false;
    rig.engine->held.reset();
    auto next = rig.queue();
    next->start();
    next->start(); // a second start while the first runs does not transcribe twice
    rig.runUntil([&] { return next->isIdle() && rig.database.recording(id)->hasTranscript; });
    EXPECT_EQ(rig.engine->asked.size(), 3u) << "the two tracks, once each, after the interrupted one";
    EXPECT_EQ(rig.database.segmentCount(id), 3);
    EXPECT_TRUE(next->contents().queue.empty());
}

TEST(TranscriptionQueue, WaitsWhileAnotherProcessHoldsTheQueueAndTakesGoneOrDoneRecordingsOff) {
    Rig rig;
    const auto id = rig.savedCall();
    auto other = TranscriptionQueueFile(rig.folder / "transcription-queue.json").tryLock();
    ASSERT_TRUE(other);
    auto queue = rig.queue();
    queue->enqueue(id);
    rig.settle();
    EXPECT_TRUE(rig.engine->asked.empty());
    EXPECT_EQ(queue->contents().queue.size(), 1u);
    EXPECT_TRUE(rig.settled.empty()) << "the other process may be transcribing it";
    other.reset();

    Recording done;
    done.title = "Imported with its transcript";
    const auto doneId = rig.database.insertRecording(done);
    rig.database.saveTranscript(doneId, {{0, 0, 0, 1, "Hello.", "", false}});
    queue->enqueue(999);
    queue->enqueue(doneId);
    rig.runUntil([&] { return queue->isIdle() && queue->contents().queue.empty(); });
    EXPECT_EQ(rig.engine->asked.size(), 2u) << "only the saved call's tracks";
    EXPECT_EQ(rig.database.allSegments(doneId).front().text, "Hello.");
    using Settled = std::vector<std::pair<Database::RecordingId, bool>>;
    EXPECT_EQ(rig.settled, (Settled{{id, true}, {doneId, true}})) << "nothing for the recording that is gone";
}

TEST(TranscriptionQueue, TakesOffAudioThatCannotBeReadAndSaysWhy) {
    Rig rig;
    const auto id = rig.savedCall();
    rig.engine->failure =
        Intelligence::TranscriptionError("The audio file /x.ogg cannot be read: bad header.", false);
    auto queue = rig.queue();
    queue->enqueue(id);
    rig.runUntil([&] { return queue->isIdle() && queue->contents().queue.empty(); });
    ASSERT_EQ(rig.said.size(), 1u);
    EXPECT_EQ(rig.said[0], "Recording " + std::to_string(id) +
                               " cannot be transcribed: The audio file /x.ogg cannot be read: bad header.");
    EXPECT_TRUE(rig.database.recording(id).has_value()) << "the recording itself stays";
    EXPECT_EQ(rig.settled, (std::vector<std::pair<Database::RecordingId, bool>>{{id, false}}));
}

TEST(TranscriptionQueue, ReadsADamagedQueueFileAsEmpty) {
    Rig rig;
    std::filesystem::create_directories(rig.folder);
    { std::ofstream(rig.folder / "transcription-queue.json") << "{\"queue\": [1, {\"id\": 4}, {\"id\": 4}"; }
    TranscriptionQueueFile file(rig.folder / "transcription-queue.json");
    EXPECT_EQ(file.load(), TranscriptionQueueFile::Contents{});
    file.save({{{4, true}, {2, false}}, "Waiting."});
    EXPECT_EQ(file.load(), (TranscriptionQueueFile::Contents{{{4, true}, {2, false}}, "Waiting."}));
    EXPECT_EQ(file.add(2, true).queue, (std::vector<TranscriptionQueueFile::Entry>{{4, true}, {2, true}}));
}

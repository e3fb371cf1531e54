// The way from a saved call to AI jobs as the host composes it, in virtual time: the transcription service
// (the demo's simulated engine over two real, silent track files) and the background services (the AI jobs,
// with a loopback provider). Saved → queued → segments from both tracks stored with their flags → the AI
// title, summary and action items requested; and a quit in the middle of a transcription resumed once by
// the next start; and the slides of a screen video read only once the queue is done with the recording
// (after its transcript, or without one when transcription is off or failed), never for one without video.
#include "Fakes/FakeAIProvider.h"

#include "App/host/BackgroundServices.h"
#include "App/host/TranscriptionService.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/AIProviderSettings.h"
#include "Intelligence/AIService.h"
#include "Intelligence/TranscriptionSettings.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/recording/ProcessingNotifications.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <random>

using namespace std::chrono_literals;

namespace {

struct World {
    std::filesystem::path home;
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Support::InMemoryUserDefaults defaults;
    Support::NotificationCenter center;
    Database::SqliteDatabase database{":memory:"};
    Fakes::FakeAIProvider provider;
    Platform::CurlHttpClient http;
    std::unique_ptr<Intelligence::AIService> ai; // made once the provider settings below are saved
    UI::AIGenerationJobs jobs{center};
    std::vector<std::string> said;

    World() {
        home = std::filesystem::temp_directory_path() /
               ("vellmora-transcription-service-" + std::to_string(std::random_device{}()));
        ::setenv("VELLMORA_CONFIG_HOME", (home / "config").c_str(), 1);
        ::setenv("VELLMORA_STATE_HOME", (home / "state").c_str(), 1);
        ::setenv("VELLMORA_DATA_HOME", (home / "data").c_str(), 1);
        ::setenv("VELLMORA_CACHE_HOME", (home / "cache").c_str(), 1);
        Intelligence::AIProviderSettings settings;
        settings.provider = Intelligence::AIProvider::openAICompatible;
        settings.openAIBaseURL = provider.baseURL();
        settings.openAIModel = "local-model";
        settings.save(defaults);
        Intelligence::AIKeyStore().save({"sk-local", ""});
        Intelligence::TranscriptionSettings speech;
        speech.engine = Intelligence::TranscriptionEngine::simulated;
        speech.save(defaults);
        provider.setDefault({{"Launch plan review"}});
        ai = Intelligence::AIService::fromUserDefaults(http, scheduler, defaults);
    }
    ~World() { std::filesystem::remove_all(home); }

    std::unique_ptr<App::TranscriptionService> transcription() {
        return std::make_unique<App::TranscriptionService>(App::TranscriptionService::Dependencies{
            .database = database,
            .center = center,
            .scheduler = scheduler,
            .defaults = defaults,
            .http = http,
            .say = [this](const std::string& s) { said.push_back(s); },
        });
    }

    /// A saved call as the capture leaves it: two silent tracks of a minute, in step.
    Database::RecordingId savedCall() {
        const auto folder = home / "data/Recordings";
        std::filesystem::create_directories(folder);
        const auto wav = AudioEngine::SimulatedCapture::silentWav(60);
        Support::Files::writeAtomically(folder / "call-microphone.wav", wav);
        Support::Files::writeAtomically(folder / "call-system.wav", wav);
        Database::DatabaseManager::Recording r;
        r.title = "Launch sync";
        r.duration = 60;
        r.fileURL = folder / "call.wav";
        r.tracks = {{folder / "call-microphone.wav", true, 0}, {folder / "call-system.wav", false, 0}};
        return database.insertRecording(r);
    }

    /// The same call with a screen video beside it.
    Database::RecordingId savedCallWithVideo() {
        auto id = savedCall();
        auto recording = *database.recording(id);
        recording.videoFileURL = home / "data/Recordings/call.mkv";
        recording.videoOffset = 0.4;
        database.updateRecording(recording);
        return id;
    }

    /// Turns the loop, moving virtual time to the next timer whenever nothing else is ready.
    template <typename Predicate> bool runUntil(Predicate done) {
        const auto giveUp = std::chrono::steady_clock::now() + 20s;
        while (!done() && std::chrono::steady_clock::now() < giveUp) {
            // A real loopback provider answers on other threads: give it a while before moving virtual time
            // on.
            if (!loop.runOne(50) && scheduler.pendingTimers() > 0) {
                scheduler.advanceTo(*scheduler.nextDue());
            }
        }
        return done();
    }
};

} // namespace

TEST(TranscriptionService, TakesASavedCallToItsTranscriptAndStartsTheAIJobs) {
    World w;
    App::BackgroundServices services({.scheduler = w.scheduler,
                                      .defaults = w.defaults,
                                      .center = w.center,
                                      .ai = *w.ai,
                                      .aiJobs = w.jobs,
                                      .http = w.http,
                                      .database = &w.database,
                                      .checksForUpdates = false,
                                      .say = [](const std::string&) {}});
    auto transcription = w.transcription();
    transcription->start();
    const auto id = w.savedCall();
    transcription->recordingSaved(id);
    ASSERT_TRUE(w.runUntil([&] { return w.database.recording(id)->hasTranscript; }));

    auto segments = w.database.allSegments(id);
    ASSERT_EQ(segments.size(), 7u);
    EXPECT_FALSE(segments[0].isFromMicrophone);
    EXPECT_TRUE(segments[1].isFromMicrophone);
    EXPECT_EQ(segments[1].text, "Loud and clear. Shall we start with the launch date?");
    EXPECT_EQ(w.said, (std::vector<std::string>{"Transcribed #" + std::to_string(id) +
                                                ": 7 segments in the library"}));

    ASSERT_TRUE(w.runUntil([&] { return w.provider.generationRequests().size() >= 2; }))
        << "the AI jobs asked the provider";
    services.stop();
    transcription->stop();
}

TEST(TranscriptionService, TakesUpARecordingAnotherProgramQueuedWhileItRuns) {
    World w;
    auto transcription = w.transcription();
    transcription->start();
    // `vellmora library import` in a terminal: the recording is added and queued by another process.
    const auto id = w.savedCall();
    UI::TranscriptionQueueFile().add(id, false);
    ASSERT_TRUE(w.runUntil([&] { return w.database.recording(id)->hasTranscript; }))
        << "the running host took up the recording without a restart";
    transcription->stop();
}

TEST(TranscriptionService, ResumesATranscriptionCutByAQuitOnceAtTheNextStart) {
    World w;
    const auto id = w.savedCall();
    int transcribed = 0;
    {
        auto transcription = w.transcription();
        transcription->recordingSaved(id);
        // The simulated engine is on its first track (it takes a second of virtual time): quit now.
        ASSERT_TRUE(w.runUntil([&] { return w.scheduler.pendingTimers() > 0; }));
        transcription->stop();
        for (int i = 0; i < 100; ++i) { // let the cancelled work wind down
            w.loop.runOne(2);
        }
    }
    EXPECT_FALSE(w.database.recording(id)->hasTranscript);

    auto next = w.transcription();
    auto counted = next->queue().transcribed.connect([&](Database::RecordingId, int) { ++transcribed; });
    next->start();
    next->start();
    ASSERT_TRUE(
        w.runUntil([&] { return w.database.recording(id)->hasTranscript && next->queue().isIdle(); }));
    EXPECT_EQ(transcribed, 1);
    EXPECT_EQ(w.database.segmentCount(id), 7);
    EXPECT_TRUE(next->queue().contents().queue.empty());
}

namespace {

/// A slides job that notes whether the recording had its transcript when it was asked to read the video.
class NotingSlidesJob final : public Intelligence::SlideExtractionJob {
public:
    NotingSlidesJob(Database::DatabaseManager& database, std::vector<bool>& hadTranscript)
        : database_(database), hadTranscript_(hadTranscript) {}
    Support::Task<Intelligence::Slide::Outcome> run(Database::RecordingId id,
                                                    std::optional<std::filesystem::path>, bool) override {
        hadTranscript_.push_back(database_.recording(id)->hasTranscript);
        co_return Intelligence::Slide::Outcome{Intelligence::Slide::Outcome::Kind::read, 3, 0, {}};
    }

private:
    Database::DatabaseManager& database_;
    std::vector<bool>& hadTranscript_;
};

/// The host's composition of the two: the queue's `settled` hands recordings to the slides reader.
struct SlidesAfterTranscription {
    World& w;
    std::vector<bool> hadTranscript;
    std::vector<std::string> processing; // "started transcription", "completed slides", ... (not the AI's)
    Support::SubscriptionBag observers;
    App::BackgroundServices services;
    std::unique_ptr<App::TranscriptionService> transcription;

    explicit SlidesAfterTranscription(World& world)
        : w(world), services({.scheduler = w.scheduler,
                              .defaults = w.defaults,
                              .center = w.center,
                              .ai = *w.ai,
                              .aiJobs = w.jobs,
                              .http = w.http,
                              .database = &w.database,
                              .checksForUpdates = false,
                              .say = [](const std::string&) {},
                              .slides = {.makeJob = [this] {
                                  return std::make_shared<NotingSlidesJob>(w.database, hadTranscript);
                              }}}) {
        namespace N = UI::ProcessingNotifications;
        for (auto [name, word] :
             {std::pair{N::processingStarted, "started "}, std::pair{N::processingCompleted, "completed "}}) {
            observers +=
                w.center.observe(name, [this, word = std::string(word)](const Support::Notification& n) {
                    // The AI jobs the transcript starts post theirs too: the order here is the queue's.
                    const auto type = n.value("type").value_or("?");
                    if (type == "transcription" || type == "slides") {
                        processing.push_back(word + type);
                    }
                });
        }
        transcription = w.transcription();
        observers += transcription->queue().settled.connect(
            [this](Database::RecordingId id) { services.transcriptionSettled(id); });
    }
    bool slidesRead() const {
        return std::find(processing.begin(), processing.end(), "completed slides") != processing.end();
    }
    ~SlidesAfterTranscription() {
        services.stop();
        transcription->stop();
    }
};

} // namespace

TEST(SlidesAfterTranscription, ReadsTheScreenVideoOnlyOnceTheTranscriptIsStored) {
    World w;
    SlidesAfterTranscription host(w);
    host.transcription->start();
    const auto id = w.savedCallWithVideo();
    host.transcription->recordingSaved(id);
    ASSERT_TRUE(w.runUntil([&] { return host.slidesRead(); }));
    EXPECT_EQ(host.hadTranscript, std::vector<bool>{true});
    EXPECT_EQ(host.processing, (std::vector<std::string>{"started transcription", "completed transcription",
                                                         "started slides", "completed slides"}));
}

TEST(SlidesAfterTranscription, ReadsTheScreenVideoOnceWhenTranscriptionIsOffOrFails) {
    struct Case {
        const char* name;
        Intelligence::TranscriptionEngine engine;
        bool tracksLost;
    };
    for (const auto& c : {Case{"transcription off", Intelligence::TranscriptionEngine::none, false},
                          Case{"audio unreadable", Intelligence::TranscriptionEngine::simulated, true}}) {
        SCOPED_TRACE(c.name);
        World w;
        auto speech = Intelligence::TranscriptionSettings::load(w.defaults);
        speech.engine = c.engine;
        speech.save(w.defaults);
        SlidesAfterTranscription host(w);
        const auto id = w.savedCallWithVideo();
        if (c.tracksLost) {
            std::filesystem::remove_all(w.home / "data/Recordings");
        }
        host.transcription->recordingSaved(id);
        ASSERT_TRUE(w.runUntil([&] { return host.slidesRead(); }));
        // A waiting queue settles again at its retry: the slides are not read twice.
        w.scheduler.advance(std::chrono::minutes(25));
        for (int i = 0; i < 50; ++i) {
            w.loop.runOne(2);
        }
        EXPECT_EQ(host.hadTranscript, std::vector<bool>{false});
        EXPECT_EQ(std::count(host.processing.begin(), host.processing.end(), "completed slides"), 1);
    }
}

TEST(SlidesAfterTranscription, LeavesARecordingWithoutScreenVideoAlone) {
    World w;
    SlidesAfterTranscription host(w);
    host.transcription->start();
    const auto id = w.savedCall();
    host.transcription->recordingSaved(id);
    ASSERT_TRUE(w.runUntil(
        [&] { return w.database.recording(id)->hasTranscript && host.transcription->queue().isIdle(); }));
    for (int i = 0; i < 50; ++i) {
        w.loop.runOne(2);
    }
    EXPECT_TRUE(host.hadTranscript.empty());
    EXPECT_EQ(host.processing,
              (std::vector<std::string>{"started transcription", "completed transcription"}));
}

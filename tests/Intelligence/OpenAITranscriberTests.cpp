// The server engine against a loopback transcription server: the answer formats, pieces cut at silences,
// a 413 answered with smaller pieces, a 429 waited out in virtual time, both error shapes, and an upload
// cancelled while a server that never reads holds it.
#include "Fakes/FakeTranscriptionServer.h"

#include "Fakes/AudioFiles.h"
#include "Intelligence/OpenAITranscriber.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Intelligence;
using namespace std::chrono_literals;
using Fakes::FakeTranscriptionServer;
namespace Audio = Fakes::AudioFiles;

namespace {

struct Outcome {
    std::vector<SpeechSegment> segments;
    std::optional<std::string> error;
    std::optional<bool> retryLater;
    std::vector<double> progress;
    bool cancelled = false;
};

struct Rig {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    FakeTranscriptionServer server; // outlives the client, which closes its kept-alive connections first
    Platform::CurlHttpClient http;
    std::filesystem::path folder;

    Rig() {
        folder = std::filesystem::temp_directory_path() /
                 ("vellmora-openai-transcriber-" + std::to_string(::getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder);
    }
    ~Rig() { std::filesystem::remove_all(folder); }

    std::filesystem::path audio(const std::vector<Audio::Span>& spans, int rate = 16000) {
        auto path = folder / "track.wav";
        Audio::writeWav(path, spans, rate);
        return path;
    }

    OpenAITranscriber engine(OpenAITranscriber::Config config = {}) {
        if (config.baseURL.empty()) {
            config.baseURL = server.baseURL() + "/";
        }
        return OpenAITranscriber(http, scheduler, config);
    }

    /// Runs the transcription to its end, moving virtual time whenever the engine waits on a timer.
    Outcome run(OpenAITranscriber& engine, SpeechTrack track, SpeechOptions options = {}) {
        auto outcome = std::make_shared<Outcome>();
        auto task = Support::startTask([&engine, track, options, outcome]() -> Support::Task<void> {
            try {
                auto work = engine.transcribe(track, options,
                                              [outcome](double p) { outcome->progress.push_back(p); });
                outcome->segments = co_await work;
            } catch (const TranscriptionError& e) {
                outcome->error = e.description();
                outcome->retryLater = e.retryLater();
            }
        });
        const auto giveUp = std::chrono::steady_clock::now() + 30s;
        while (!task.isDone() && std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(10);
            if (!task.isDone() && scheduler.pendingTimers() > 0) {
                scheduler.advanceTo(*scheduler.nextDue());
            }
        }
        EXPECT_TRUE(task.isDone()) << "the transcription never finished";
        return *outcome;
    }
};

const char* verboseAnswer =
    R"({"task":"transcribe","language":"english","duration":4.0,"text":"Hello there. <|en|>",
  "segments":[{"id":0,"start":0.0,"end":1.5,"text":" Hello there."},{"id":1,"start":1.5,"end":3.0,"text":" How are you?"}]})";

} // namespace

TEST(OpenAITranscriber, SendsTheTrackAndShiftsVerboseSegmentsByTheTrackOffset) {
    Rig rig;
    rig.server.enqueue({200, verboseAnswer});
    OpenAITranscriber::Config config;
    config.key = "sk-transcribe";
    config.model = "whisper-large-v3";
    auto engine = rig.engine(config);
    auto out =
        rig.run(engine, {rig.audio({{3, 0.5}, {1, 0}}), 2.0}, {"de", {"Alice Smith", " ", "Bob Jones"}});
    ASSERT_FALSE(out.error) << *out.error;
    ASSERT_EQ(out.segments.size(), 2u);
    EXPECT_EQ(out.segments[0], (SpeechSegment{2.0, 3.5, " Hello there.", ""}));
    EXPECT_EQ(out.segments[1], (SpeechSegment{3.5, 5.0, " How are you?", ""}));
    EXPECT_EQ(out.progress, (std::vector<double>{1.0}));

    auto uploads = rig.server.uploads();
    ASSERT_EQ(uploads.size(), 1u);
    EXPECT_EQ(uploads[0].authorization, "Bearer sk-transcribe");
    EXPECT_EQ(uploads[0].fields["model"], "whisper-large-v3");
    EXPECT_EQ(uploads[0].fields["response_format"], "verbose_json");
    EXPECT_EQ(uploads[0].fields["language"], "de");
    EXPECT_EQ(uploads[0].fields["prompt"], "Alice Smith, Bob Jones.");
    EXPECT_NEAR(uploads[0].audioSeconds(), 4.0, 0.01);
}

TEST(OpenAITranscriber, AsksForPlainJsonWhenTheServerRefusesVerboseJsonAndSpansThePieceWithItsText) {
    Rig rig;
    rig.server.enqueue(
        {400, R"({"error":{"message":"response_format 'verbose_json' is not supported for this model"}})"});
    rig.server.enqueue({200, R"({"text":"Only the words."})"});
    auto engine = rig.engine();
    auto out = rig.run(engine, {rig.audio({{5, 0.5}}), 0});
    ASSERT_FALSE(out.error) << *out.error;
    EXPECT_EQ(out.segments, (std::vector<SpeechSegment>{{0, 5.0, "Only the words.", ""}}));
    auto uploads = rig.server.uploads();
    ASSERT_EQ(uploads.size(), 2u);
    EXPECT_EQ(uploads[1].fields["response_format"], "json");
    EXPECT_EQ(uploads[0].fields.count("language"), 0u) << "auto sends no language";
}

TEST(OpenAITranscriber, KeepsTheSpeakersOfADiarizedAnswer) {
    Rig rig;
    rig.server.enqueue({200, R"({"text":"Hi. Hello.","segments":[
        {"type":"transcript.text.segment","id":"seg_0","start":0.2,"end":1.0,"text":"Hi.","speaker":"A"},
        {"type":"transcript.text.segment","id":"seg_1","start":1.1,"end":2.0,"text":"Hello.","speaker":"B"}]})"});
    OpenAITranscriber::Config config;
    config.responseFormat = "diarized_json";
    auto engine = rig.engine(config);
    auto out = rig.run(engine, {rig.audio({{2, 0.5}}), 0}, {"auto", {"Alice"}});
    ASSERT_FALSE(out.error) << *out.error;
    ASSERT_EQ(out.segments.size(), 2u);
    EXPECT_EQ(out.segments[0].speaker, "A");
    EXPECT_EQ(out.segments[1].speaker, "B");
    auto uploads = rig.server.uploads();
    EXPECT_EQ(uploads[0].fields["response_format"], "diarized_json");
    EXPECT_EQ(uploads[0].fields["chunking_strategy"], "auto");
}

TEST(OpenAITranscriber, CutsALongTrackAtItsSilencesAndKeepsEachPiecesPlace) {
    Rig rig;
    rig.server.setDefault({200, R"({"text":"x","segments":[{"start":0.0,"end":1.0,"text":"piece"}]})"});
    OpenAITranscriber::Config config;
    config.maxUploadBytes = 4096 + 44 + 10 * 32000; // ten seconds of 16 kHz audio
    auto engine = rig.engine(config);
    // Speech 0–8.5 s, silence 8.5–9 s, speech 9–17 s, silence 17–17.4, speech to 20 s.
    auto out = rig.run(engine, {rig.audio({{8.5, 0.5}, {0.5, 0}, {8, 0.5}, {0.4, 0}, {2.6, 0.5}}), 1.0});
    ASSERT_FALSE(out.error) << *out.error;
    auto uploads = rig.server.uploads();
    ASSERT_EQ(uploads.size(), 3u);
    ASSERT_EQ(out.segments.size(), 3u);
    EXPECT_NEAR(out.segments[0].start, 1.0, 1e-6);
    EXPECT_NEAR(out.segments[1].start, 1.0 + 8.55, 0.01) << "cut inside the first silence";
    EXPECT_NEAR(out.segments[2].start, 1.0 + 17.05, 0.01);
    EXPECT_NEAR(uploads[0].audioSeconds() + uploads[1].audioSeconds() + uploads[2].audioSeconds(), 20.0,
                0.01);
    EXPECT_EQ(out.progress.size(), 3u);
    EXPECT_DOUBLE_EQ(out.progress.back(), 1.0);
}

TEST(OpenAITranscriber, SendsSmallerPiecesAfterA413) {
    Rig rig;
    rig.server.enqueue({413, R"({"error":{"message":"Maximum content size limit exceeded"}})"});
    rig.server.setDefault({200, R"({"text":"x","segments":[{"start":0.0,"end":0.5,"text":"part"}]})"});
    auto engine = rig.engine();
    auto out = rig.run(engine, {rig.audio({{4.5, 0.5}, {0.4, 0}, {3.1, 0.5}}), 0});
    ASSERT_FALSE(out.error) << *out.error;
    auto uploads = rig.server.uploads();
    ASSERT_EQ(uploads.size(), 3u);
    EXPECT_NEAR(uploads[0].audioSeconds(), 8.0, 0.01);
    EXPECT_NEAR(uploads[1].audioSeconds(), 4.55, 0.01) << "cut inside the silence";
    EXPECT_NEAR(uploads[2].audioSeconds(), 3.45, 0.01);
    ASSERT_EQ(out.segments.size(), 2u);
    EXPECT_NEAR(out.segments[1].start, 4.55, 0.01);
}

TEST(OpenAITranscriber, WaitsAsRetryAfterSaysWhenTheServerIsBusy) {
    Rig rig;
    rig.server.enqueue({429, R"({"error":"Rate limit reached"})", {{"Retry-After", "20"}}});
    rig.server.enqueue({200, verboseAnswer});
    auto engine = rig.engine();
    const auto started = rig.scheduler.now();
    auto out = rig.run(engine, {rig.audio({{2, 0.5}}), 0});
    ASSERT_FALSE(out.error) << *out.error;
    EXPECT_EQ(out.segments.size(), 2u);
    EXPECT_EQ(rig.server.uploads().size(), 2u);
    EXPECT_EQ(rig.scheduler.now() - started, std::chrono::duration_cast<Support::Duration>(20s));
}

TEST(OpenAITranscriber, TurnsBothErrorShapesIntoOneSentence) {
    struct Case {
        int status;
        const char* body;
        const char* expected;
        bool retryLater;
    };
    const Case cases[] = {
        {401, R"({"error":{"message":"Incorrect API key provided","type":"invalid_request_error"}})",
         "The transcription server refused the key (HTTP 401): Incorrect API key provided. Set it with "
         "`vellmora transcription configure --key`.",
         true},
        {500, R"({"error":"failed to read the audio"})",
         "The transcription server refused the audio (HTTP 500): failed to read the audio.", true},
        {400, R"({"error":{"message":"Audio file is too short."}})",
         "The transcription server refused the audio (HTTP 400): Audio file is too short.", false},
        {503, "<html>Bad gateway</html>", "The transcription server refused the audio (HTTP 503).", true},
        {429, R"({"error":"still busy"})",
         "The transcription server is still busy after several waits (HTTP 429): still busy.", true},
    };
    for (const auto& c : cases) {
        Rig rig;
        rig.server.setDefault({c.status, c.body});
        OpenAITranscriber::Config config;
        config.maxBusyRetries = 1;
        auto engine = rig.engine(config);
        auto out = rig.run(engine, {rig.audio({{1, 0.5}}), 0});
        ASSERT_TRUE(out.error) << c.body;
        EXPECT_EQ(*out.error, c.expected);
        EXPECT_EQ(out.retryLater, c.retryLater) << c.body;
        EXPECT_TRUE(out.segments.empty());
    }
}

TEST(OpenAITranscriber, SaysWhenTheServerCannotBeReachedAndKeepsTheWorkForLater) {
    Rig rig;
    OpenAITranscriber::Config config;
    config.baseURL = "http://127.0.0.1:1";
    auto engine = rig.engine(config);
    auto out = rig.run(engine, {rig.audio({{1, 0.5}}), 0});
    ASSERT_TRUE(out.error);
    EXPECT_EQ(out.error->rfind("The transcription server at http://127.0.0.1:1 cannot be reached", 0), 0u)
        << *out.error;
    EXPECT_EQ(out.retryLater, true);
}

TEST(OpenAITranscriber, StopsAnUploadThatASlowServerHoldsWhenCancelled) {
    Rig rig;
    // A server that accepts the connection and never reads: the upload stalls once the socket buffers fill.
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    socklen_t length = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    OpenAITranscriber::Config config;
    config.baseURL = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    auto engine = rig.engine(config);
    auto track = SpeechTrack{rig.audio({{300, 0.5}}), 0}; // about 9.6 MB to send

    auto outcome = std::make_shared<Outcome>();
    auto task = Support::startTask([&engine, track, outcome]() -> Support::Task<void> {
        try {
            auto work = engine.transcribe(track, {}, {});
            outcome->segments = co_await Support::awaitOwned(work);
        } catch (const Support::Cancelled&) {
            outcome->cancelled = true;
            throw;
        }
    });
    int accepted = -1;
    const auto giveUp = std::chrono::steady_clock::now() + 20s;
    while (accepted < 0 && std::chrono::steady_clock::now() < giveUp) {
        rig.loop.runOne(10);
        pollfd pending{listener, POLLIN, 0};
        if (::poll(&pending, 1, 0) == 1) {
            accepted = ::accept(listener, nullptr, nullptr);
        }
    }
    ASSERT_GE(accepted, 0) << "the engine never connected";
    for (int i = 0; i < 20; ++i) {
        rig.loop.runOne(10); // let the upload fill the buffers
    }
    EXPECT_FALSE(task.isDone());
    task.cancel();
    const auto stopBy = std::chrono::steady_clock::now() + 5s;
    while (!task.isDone() && std::chrono::steady_clock::now() < stopBy) {
        rig.loop.runOne(10);
    }
    EXPECT_TRUE(task.isDone()) << "the cancelled upload kept going";
    EXPECT_TRUE(outcome->cancelled);
    ::close(accepted);
    ::close(listener);
}

TEST(OpenAITranscriber, ReadsRetryAfterAsSecondsOrAsADate) {
    const auto now = Support::dateFromUnix(1'800'000'000); // Fri, 15 Jan 2027 08:00:00 GMT
    EXPECT_EQ(OpenAITranscriber::retryAfterSeconds(std::nullopt, now), 5);
    EXPECT_EQ(OpenAITranscriber::retryAfterSeconds("12", now), 12);
    EXPECT_EQ(OpenAITranscriber::retryAfterSeconds("0.5", now), 0.5);
    EXPECT_EQ(OpenAITranscriber::retryAfterSeconds("99999", now), 600);
    EXPECT_EQ(OpenAITranscriber::retryAfterSeconds("soon", now), 5);
    EXPECT_EQ(OpenAITranscriber::retryAfterSeconds("Fri, 15 Jan 2027 08:00:30 GMT", now), 30);
}

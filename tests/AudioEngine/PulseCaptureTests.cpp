// The two-track capture against a real sound server: a private PulseAudio daemon whose default output and
// default microphone are null sinks that the test speaks into with espeak-ng (see
// Fakes/PrivatePulseServer.h). Skipped when PulseAudio, espeak-ng or sox is not installed
// (scripts/install-deps installs them). The recordings take as long as the sounds played into them: the test
// waits on the tools, not on a clock.
#include "AudioEngine/PulseCapture.h"
#include "AudioEngine/PulseDevices.h"
#include "Fakes/PrivatePulseServer.h"
#include "Fakes/ScriptFolder.h"
#include "Fakes/SoundFile.h"
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/mount.h>

using AudioEngine::PulseCapture;
using Fakes::PrivatePulseServer;
using Fakes::SoundFile;

namespace {

struct PulseCaptureTest : testing::Test {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    std::unique_ptr<PrivatePulseServer> server;

    void SetUp() override {
        if (!PrivatePulseServer::toolsInstalled()) {
            GTEST_SKIP() << "PulseAudio, espeak-ng or sox is not installed";
        }
        server = std::make_unique<PrivatePulseServer>(folder.path);
        ASSERT_TRUE(server->ready()) << server->log();
    }
    void TearDown() override { server.reset(); }

    void start(PulseCapture& capture, std::optional<std::filesystem::path> into = std::nullopt) {
        std::optional<AudioEngine::CaptureSession> session;
        std::string failure;
        auto task = Support::startTask([&]() -> Support::Task<void> {
            try {
                session = co_await capture.start(into.value_or(folder.path / "Recordings"));
            } catch (const std::exception& e) {
                failure = e.what();
            }
        });
        ASSERT_TRUE(Fakes::runUntil(loop, [&] { return session || !failure.empty(); }));
        ASSERT_TRUE(session) << failure;
    }
    AudioEngine::CapturedRecording stop(PulseCapture& capture) {
        std::optional<AudioEngine::CapturedRecording> recording;
        bool done = false;
        auto task = Support::startTask([&]() -> Support::Task<void> {
            recording = co_await capture.stop();
            done = true;
        });
        EXPECT_TRUE(Fakes::runUntil(loop, [&] { return done; }));
        EXPECT_TRUE(recording);
        return recording.value_or(AudioEngine::CapturedRecording{});
    }
    /// The two tracks of a finished recording, microphone first, read back with libsndfile.
    std::pair<SoundFile, SoundFile> tracks(const AudioEngine::CapturedRecording& recording) {
        EXPECT_EQ(recording.tracks.size(), 2u);
        if (recording.tracks.size() != 2) {
            return {};
        }
        EXPECT_TRUE(recording.tracks[0].isMicrophone);
        auto microphone = SoundFile::read(recording.tracks[0].file);
        auto call = SoundFile::read(recording.tracks[1].file);
        EXPECT_TRUE(microphone && call);
        return {microphone.value_or(SoundFile{}), call.value_or(SoundFile{})};
    }
};

/// Energy of `a` and of `b` over the 100 ms blocks where `a` is loud, in dB.
std::pair<double, double> levelsWhereLoud(const SoundFile& a, const SoundFile& b) {
    double inA = 0, inB = 0;
    const size_t block = 4800;
    for (size_t at = 0; at + block <= std::min(a.samples.size(), b.samples.size()); at += block) {
        if (a.decibels(at, at + block) > -40) {
            inA += std::pow(10, a.decibels(at, at + block) / 10);
            inB += std::pow(10, b.decibels(at, at + block) / 10);
        }
    }
    return {inA > 0 ? 10 * std::log10(inA) : -200, inB > 0 ? 10 * std::log10(inB) : -200};
}

std::string sourceOutputsJson() {
    std::unique_ptr<FILE, int (*)(FILE*)> list(
        ::popen("pactl --format=json list source-outputs 2>/dev/null", "r"), ::pclose);
    std::string text;
    char buffer[4096];
    while (list && std::fgets(buffer, sizeof buffer, list.get())) {
        text += buffer;
    }
    return text;
}

} // namespace

TEST_F(PulseCaptureTest, EachTrackHoldsItsOwnVoiceCompactlyAndOurStreamsNameThemselves) {
    auto others = server->speech("others", "The others talk about the budget for next year.");
    auto user = server->speech("user", "I answer that the plan looks good to me.");
    PulseCapture capture;
    std::vector<std::string> silences;
    auto subscription = capture.silenceReported.connect([&](const std::string& s) { silences.push_back(s); });
    start(capture);
    EXPECT_EQ(capture.name(), "PulseAudio");

    // Both streams are on the server as Vellmora's, which the call detector leaves alone.
    auto streams = Platform::PulseMicrophoneMonitor::parseSourceOutputs(sourceOutputsJson());
    ASSERT_TRUE(streams);
    int ours = 0;
    for (const auto& stream : *streams) {
        ours += stream.applicationName == "Vellmora" ? 1 : 0;
    }
    EXPECT_EQ(ours, 2) << "our two streams do not name themselves";

    ASSERT_TRUE(PrivatePulseServer::play(others, "room"));
    ASSERT_TRUE(PrivatePulseServer::play(user, "mic"));
    loop.runOne(0);
    auto recording = stop(capture);
    EXPECT_TRUE(silences.empty());
    auto [microphone, call] = tracks(recording);
    EXPECT_EQ(microphone.sampleRate, 48000);

    auto [callVoice, callInMicrophone] = levelsWhereLoud(call, microphone);
    auto [userVoice, userInCall] = levelsWhereLoud(microphone, call);
    EXPECT_GT(callVoice, -200) << "the call track heard nothing";
    EXPECT_GT(userVoice, -200) << "the microphone track heard nothing";
    EXPECT_LE(callInMicrophone, callVoice - 20);
    EXPECT_LE(userInCall, userVoice - 20);
    // The others spoke first, then the user.
    auto callStart = call.firstAbove(0.05);
    auto userStart = microphone.firstAbove(0.05);
    ASSERT_TRUE(callStart && userStart);
    EXPECT_LT(*callStart, *userStart);

    // Two tracks of speech stay under 25 MB an hour.
    std::uintmax_t bytes = 0;
    for (const auto& track : recording.tracks) {
        bytes += std::filesystem::file_size(track.file);
    }
    EXPECT_GT(recording.durationSeconds, 3.0);
    EXPECT_NEAR(microphone.seconds(), call.seconds(), 0.1) << "the tracks do not run the same length";
    EXPECT_LE(double(bytes) / recording.durationSeconds * 3600, 25e6);
    EXPECT_FALSE(
        std::filesystem::exists(folder.path / "Recordings" / (recording.recordingId + ".capture.json")));
}

TEST_F(PulseCaptureTest, TheTracksAreInStepWithin50Milliseconds) {
    // Both tracks hear the output (the microphone is its monitor too): one beep, two tracks, one moment.
    ASSERT_TRUE(PrivatePulseServer::pactl({"set-default-source", "room.monitor"}));
    auto beep = server->beep("beep", 0.4);
    PulseCapture capture;
    start(capture);
    ASSERT_TRUE(PrivatePulseServer::play(beep, "room"));
    auto [microphone, call] = tracks(stop(capture));
    auto inMicrophone = microphone.firstAbove(0.1);
    auto inCall = call.firstAbove(0.1);
    ASSERT_TRUE(inMicrophone && inCall);
    double apart = std::fabs(double(*inMicrophone) - double(*inCall)) / 48000;
    EXPECT_LT(apart, 0.05) << "microphone at " << *inMicrophone << ", call at " << *inCall;
}

TEST_F(PulseCaptureTest, ACallTrackSilentForTheWholeWindowIsReportedOnce) {
    auto user = server->speech("user", "Hello, can anyone hear me? I hear nothing at all.");
    PulseCapture::Options options;
    options.silenceWindow = Support::seconds(1);
    PulseCapture capture(options);
    std::vector<std::string> silences;
    auto subscription = capture.silenceReported.connect([&](const std::string& s) { silences.push_back(s); });
    start(capture);
    ASSERT_TRUE(PrivatePulseServer::play(user, "mic"));
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !silences.empty(); }));
    stop(capture);
    loop.runOne(0);
    EXPECT_EQ(silences,
              std::vector<std::string>{"Vellmora hears nothing from the call: check the output device"});
}

TEST_F(PulseCaptureTest, SwitchingTheDefaultOutputMidCallKeepsBothTracksGoing) {
    auto beep = server->beep("beep", 0.5);
    PulseCapture capture;
    std::vector<std::string> notices;
    auto subscription = capture.notice.connect([&](const std::string& s) { notices.push_back(s); });
    start(capture);
    ASSERT_TRUE(PrivatePulseServer::play(beep, "room"));
    ASSERT_TRUE(PrivatePulseServer::pactl({"set-default-sink", "headset"}));
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !notices.empty(); }));
    EXPECT_EQ(notices.back(), "The call is now recorded from headset.monitor.");
    ASSERT_TRUE(PrivatePulseServer::play(beep, "headset"));
    ASSERT_TRUE(PrivatePulseServer::play(beep, "mic"));
    auto [microphone, call] = tracks(stop(capture));
    // Two beeps on the call track (before and after the switch), the third on the microphone after both.
    auto first = call.firstAbove(0.1);
    ASSERT_TRUE(first);
    auto second = call.firstAbove(0.1, *first + 48000 * 6 / 10);
    ASSERT_TRUE(second) << "the call track heard nothing after the switch";
    auto onMicrophone = microphone.firstAbove(0.1);
    ASSERT_TRUE(onMicrophone);
    EXPECT_GT(*onMicrophone, *second);
    EXPECT_NEAR(microphone.seconds(), call.seconds(), 0.1);
}

TEST_F(PulseCaptureTest, AnOutputThatDisappearsDoesNotEndTheRecording) {
    // A headset plugged in and pulled out again mid-call.
    std::unique_ptr<FILE, int (*)(FILE*)> load(
        ::popen("pactl load-module module-null-sink sink_name=usb rate=48000 2>/dev/null", "r"), ::pclose);
    char index[32] = {};
    ASSERT_TRUE(load && std::fgets(index, sizeof index, load.get()));
    load.reset();
    auto beep = server->beep("beep", 0.5);
    PulseCapture capture;
    std::vector<std::string> notices;
    auto subscription = capture.notice.connect([&](const std::string& s) { notices.push_back(s); });
    start(capture);
    ASSERT_TRUE(PrivatePulseServer::pactl({"set-default-sink", "usb"}));
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !notices.empty(); }));
    ASSERT_TRUE(PrivatePulseServer::pactl({"unload-module", std::string(index, std::strcspn(index, "\n"))}));
    // The server moves the stream back to the output that is left, or ends it and the capture connects a
    // new one: either way the call track records from room again.
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return notices.back().ends_with("from room.monitor."); }))
        << notices.back();
    ASSERT_TRUE(PrivatePulseServer::play(beep, "room"));
    EXPECT_TRUE(capture.isCapturing());
    auto [microphone, call] = tracks(stop(capture));
    EXPECT_TRUE(call.firstAbove(0.1)) << "the call track heard nothing after the device came back";
    EXPECT_NEAR(microphone.seconds(), call.seconds(), 0.1);
}

TEST_F(PulseCaptureTest, ASoundServerThatRestartsMidCallIsConnectedAgain) {
    auto beep = server->beep("beep", 0.5);
    PulseCapture capture;
    std::vector<std::string> notices;
    auto subscription = capture.notice.connect([&](const std::string& s) { notices.push_back(s); });
    start(capture);
    server.reset();
    ASSERT_TRUE(Fakes::runUntil(loop, [&] {
        return !notices.empty() &&
               notices.back() ==
                   "The sound server went away: Vellmora keeps recording and goes on when it is back.";
    }));
    server = std::make_unique<PrivatePulseServer>(folder.path);
    ASSERT_TRUE(server->ready()) << server->log();
    ASSERT_TRUE(Fakes::runUntil(
        loop, [&] { return notices.back() == "The sound server is back: both tracks are recorded again."; }));
    ASSERT_TRUE(PrivatePulseServer::play(beep, "room"));
    auto [microphone, call] = tracks(stop(capture));
    EXPECT_TRUE(call.firstAbove(0.1)) << "the call track heard nothing after the server came back";
    EXPECT_NEAR(microphone.seconds(), call.seconds(), 0.1);
}

TEST_F(PulseCaptureTest, AFullDiskStopsWritingWithASentenceAndKeepsWhatWasWrittenPlayable) {
    auto disk = folder.path / "small-disk";
    std::filesystem::create_directories(disk);
    // 24 kB: the note and the two files' first pages, and a few seconds of speech.
    if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=24k") != 0) {
        GTEST_SKIP() << "a small disk cannot be mounted here (it takes root)";
    }
    struct Unmount {
        std::filesystem::path path;
        ~Unmount() { ::umount2(path.c_str(), MNT_DETACH); }
    } unmount{disk};
    auto speech =
        server->speech("long", "We will go through every item of the budget, one line at a time, until "
                               "there is nothing left to discuss and the disk is full.");
    PulseCapture capture;
    std::vector<std::string> failures;
    auto subscription = capture.failed.connect([&](const std::string& s) { failures.push_back(s); });
    start(capture, disk);
    pid_t player = Fakes::spawnQuietly({"paplay", "--device=both", speech.string()});
    EXPECT_TRUE(Fakes::runUntil(loop, [&] { return !failures.empty(); }));
    ::kill(player, SIGTERM);
    ::waitpid(player, nullptr, 0);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_TRUE(failures[0].starts_with("Vellmora stopped recording: ")) << failures[0];
    EXPECT_NE(failures[0].find("(No space left on device). What was recorded until then is kept."),
              std::string::npos)
        << failures[0];
    auto recording = stop(capture);
    auto [microphone, call] = tracks(recording);
    EXPECT_GT(call.seconds(), 0.5) << "what was written before the disk filled up is not playable";
    EXPECT_GT(microphone.seconds(), 0.5);
    EXPECT_FALSE(std::filesystem::exists(disk / (recording.recordingId + ".capture.json")));
}

TEST_F(PulseCaptureTest, SaysWhyWhenNoServerAnswers) {
    EXPECT_EQ(PulseCapture::whyUnavailable(), std::nullopt);
    auto server = std::string(std::getenv("PULSE_SERVER"));
    ::setenv("PULSE_SERVER", ("unix:" + (folder.path / "nobody").string()).c_str(), 1);
    auto why = PulseCapture::whyUnavailable();
    ::setenv("PULSE_SERVER", server.c_str(), 1);
    ASSERT_TRUE(why);
    EXPECT_TRUE(why->starts_with("no PulseAudio or PipeWire server answered")) << *why;
    PulseCapture capture;
    ::setenv("PULSE_SERVER", ("unix:" + (folder.path / "nobody").string()).c_str(), 1);
    std::string failure;
    auto task = Support::startTask([&]() -> Support::Task<void> {
        try {
            co_await capture.start(folder.path / "Recordings");
        } catch (const AudioEngine::CaptureError& e) {
            failure = e.what();
        }
    });
    EXPECT_TRUE(Fakes::runUntil(loop, [&] { return !failure.empty(); }));
    ::setenv("PULSE_SERVER", server.c_str(), 1);
    EXPECT_TRUE(failure.starts_with("Recording could not start: no PulseAudio or PipeWire server answered"))
        << failure;
    EXPECT_FALSE(capture.isCapturing());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path / "Recordings")) << "a failed start left files behind";
}

TEST_F(PulseCaptureTest, ListsTheDevicesItWouldRecordWithTheDefaultsMarked) {
    auto devices = AudioEngine::PulseDevices::list();
    EXPECT_EQ(devices.server, "PulseAudio");
    auto text = AudioEngine::PulseDevices::describe(devices);
    EXPECT_NE(text.find("(voice)"), std::string::npos) << text;
    bool voiceIsDefault = false;
    for (const auto& microphone : devices.microphones) {
        voiceIsDefault = voiceIsDefault || (microphone.name == "voice" && microphone.isDefault);
    }
    EXPECT_TRUE(voiceIsDefault) << text;
    bool roomIsDefault = false;
    for (const auto& output : devices.outputs) {
        roomIsDefault = roomIsDefault || (output.name == "room" && output.isDefault);
    }
    EXPECT_TRUE(roomIsDefault) << text;
    for (const auto& microphone : devices.microphones) {
        EXPECT_EQ(microphone.name.find(".monitor"), std::string::npos) << "a monitor listed as a microphone";
    }
}

// The host's call detection and capture against a real sound server: the tests' private PulseAudio daemon
// (Fakes/PrivatePulseServer.h), real `pactl` and `parecord`.
// Skipped when PulseAudio or the tools that daemon needs are not installed (scripts/install-deps installs
// them).
#include "AudioEngine/CommandCapture.h"
#include "Fakes/PrivatePulseServer.h"
#include "Fakes/ScriptFolder.h"
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/MainLoop.h"
#include "UI/recording/CallDetector.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

void endProcess(pid_t pid, int signal) {
    if (pid > 0) {
        ::kill(pid, signal);
        ::waitpid(pid, nullptr, 0);
    }
}

/// How many of the sound server's clients are pactl (`pactl list short clients`, itself included).
int pactlClients() {
    std::unique_ptr<FILE, int (*)(FILE*)> list(::popen("pactl list short clients 2>/dev/null", "r"),
                                               ::pclose);
    int count = 0;
    char line[512];
    while (list && std::fgets(line, sizeof line, list.get())) {
        count += std::string_view(line).find("\tpactl") != std::string_view::npos ? 1 : 0;
    }
    return count;
}

struct PulseAudioServerTest : testing::Test {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    std::unique_ptr<Fakes::PrivatePulseServer> server;

    void SetUp() override {
        if (!Fakes::PrivatePulseServer::toolsInstalled() || !Fakes::onPath("parecord")) {
            GTEST_SKIP() << "PulseAudio is not installed";
        }
        // Only the tests' own programs record: the monitor's client count is theirs.
        server = std::make_unique<Fakes::PrivatePulseServer>(folder.path,
                                                             Fakes::PrivatePulseServer::Layout::oneSinkOnly);
        ASSERT_TRUE(server->ready()) << server->log();
    }
    void TearDown() override { server.reset(); }
};

} // namespace

TEST_F(PulseAudioServerTest, NoticesAMeetingAppTakingTheMicrophoneAndLettingGo) {
    Platform::PosixProcessRunner runner;
    Platform::PulseMicrophoneMonitor monitor(*Fakes::onPath("pactl"), runner);
    std::vector<std::vector<Platform::MicrophoneClient>> published;
    auto subscription =
        monitor.clientsChanged.connect([&](const auto& clients) { published.push_back(clients); });
    std::optional<std::string> problem = "not started";
    auto starting = Support::startTask([&]() -> Support::Task<void> { problem = co_await monitor.start(); });
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return problem != "not started"; }));
    EXPECT_EQ(problem, std::nullopt);
    ASSERT_FALSE(published.empty());
    EXPECT_TRUE(published.back().empty());

    // The monitor's `pactl subscribe` connects in its own time; a stream that came and went before it
    // did would not be told of. Wait until the server has it among its clients (with the pactl listing
    // them: two).
    EXPECT_TRUE(Fakes::runUntil(loop, [] { return pactlClients() >= 2; }));

    // "Zoom" starts recording the microphone.
    auto zoom = Fakes::spawnQuietly({"parecord", "--property=application.process.binary=zoom",
                                     "--property=application.name=ZOOM VoiceEngine",
                                     (folder.path / "zoom.wav").string()});
    ASSERT_GT(zoom, 0);
    UI::CallDetector detector;
    UI::CallDetector::Changes changes;
    EXPECT_TRUE(Fakes::runUntil(loop, [&] {
        changes = detector.update(monitor.clients(), {});
        return !changes.started.empty();
    }));
    ASSERT_EQ(changes.started.size(), 1u);
    EXPECT_EQ(changes.started[0].appID, "zoom");
    EXPECT_FALSE(changes.started[0].isBrowser);

    endProcess(zoom, SIGINT);
    EXPECT_TRUE(Fakes::runUntil(loop, [&] {
        changes = detector.update(monitor.clients(), {});
        return !changes.ended.empty();
    }));
    EXPECT_TRUE(detector.calls().empty());
    monitor.stop();
}

TEST_F(PulseAudioServerTest, RecordsTheMicrophoneIntoAWavFileAndIsNeverTakenForACall) {
    Support::VirtualScheduler scheduler(loop, Support::Date{} + std::chrono::hours(24 * 20000));
    AudioEngine::CommandCapture::Options options;
    options.tool = AudioEngine::CommandCapture::Tool::parecord;
    options.executable = *Fakes::onPath("parecord");
    options.logFile = folder.path / "capture.log";
    AudioEngine::CommandCapture capture(scheduler, options);

    std::optional<AudioEngine::CaptureSession> session;
    auto starting =
        Support::startTask([&]() -> Support::Task<void> { session = co_await capture.start(folder.path); });
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return scheduler.pendingTimers() > 0 || session.has_value(); }));
    scheduler.advance(options.startCheck);
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return session.has_value(); })) << folder.read("capture.log");
    ASSERT_TRUE(capture.processId());

    // Its stream is on the server, and it is ours: no call.
    Platform::PosixProcessRunner runner;
    Platform::PulseMicrophoneMonitor monitor(*Fakes::onPath("pactl"), runner);
    auto starting2 = Support::startTask([&]() -> Support::Task<void> { co_await monitor.start(); });
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !monitor.clients().empty(); }));
    ASSERT_EQ(monitor.clients().size(), 1u);
    EXPECT_EQ(monitor.clients()[0].processId, capture.processId());
    EXPECT_TRUE(UI::CallDetector::callsIn(monitor.clients(), {*capture.processId()}).empty());
    monitor.stop();

    // The null sink's monitor plays silence in real time: wait until some of it is in the file.
    ASSERT_TRUE(Fakes::runUntil(loop, [&] {
        std::error_code ec;
        return fs::file_size(session->audioFile, ec) > 4000;
    }));
    std::optional<AudioEngine::CapturedRecording> recording;
    auto stopping = Support::startTask([&]() -> Support::Task<void> { recording = co_await capture.stop(); });
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return recording.has_value(); })) << folder.read("capture.log");
    EXPECT_GT(recording->durationSeconds, 0.1);
    EXPECT_EQ(recording->audioFile, session->audioFile);
    EXPECT_FALSE(capture.isCapturing());
}

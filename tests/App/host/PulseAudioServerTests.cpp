// The host's call detection and capture against a real sound server: a private PulseAudio daemon (its own
// socket and folders, a null sink whose monitor is the microphone), real `pactl` and `parecord`. Skipped
// when PulseAudio is not installed (scripts/install-deps installs it).
#include "AudioEngine/CommandCapture.h"
#include "Fakes/ScriptFolder.h"
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/MainLoop.h"
#include "UI/recording/CallDetector.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace fs = std::filesystem;

namespace {

std::optional<fs::path> onPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    return Platform::findExecutable(name, path ? path : "");
}

/// Starts a program with its output in /dev/null (a daemon left behind by a crashed test must not hold the
/// test runner's pipes open).
pid_t spawn(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd : {1, 2}) {
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = 0;
    bool spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return spawned ? pid : 0;
}

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

bool accepts(const fs::path& socketPath) {
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
    bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return ok;
}

/// A PulseAudio daemon of the test's own, reached through PULSE_SERVER by every child process. Should a
/// test die without stopping it, it exits by itself after 20 s without clients.
class PrivatePulseServer {
public:
    explicit PrivatePulseServer(const fs::path& folder) {
        auto socket = folder / "native";
        std::ofstream(folder / "default.pa")
            << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << socket.string() << "\n"
            << "load-module module-null-sink sink_name=room\n"
            << "set-default-source room.monitor\n";
        for (const char* sub : {"home", "runtime", "config"}) {
            fs::create_directories(folder / sub);
        }
        ::setenv("HOME", (folder / "home").c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", (folder / "runtime").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1);
        ::setenv("PULSE_SERVER", ("unix:" + socket.string()).c_str(), 1);
        pid_ = spawn({"pulseaudio", "-n", "-F", (folder / "default.pa").string(), "--daemonize=no",
                      "--exit-idle-time=20", "--use-pid-file=no", "--disallow-exit=yes",
                      "--log-target=file:" + (folder / "pulse.log").string()});
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (pid_ && !accepts(socket) && std::chrono::steady_clock::now() < deadline) {
            ::usleep(20000); // waiting for another process to come up, not for time to pass
        }
        ready_ = pid_ && accepts(socket);
    }
    ~PrivatePulseServer() { endProcess(pid_, SIGTERM); }
    bool ready() const { return ready_; }

private:
    pid_t pid_ = 0;
    bool ready_ = false;
};

struct PulseAudioServerTest : testing::Test {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    std::map<std::string, std::optional<std::string>> savedEnvironment;
    std::unique_ptr<PrivatePulseServer> server;

    void SetUp() override {
        if (!onPath("pulseaudio") || !onPath("pactl") || !onPath("parecord")) {
            GTEST_SKIP() << "PulseAudio is not installed";
        }
        for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "PULSE_SERVER"}) {
            const char* value = std::getenv(name);
            savedEnvironment[name] = value ? std::optional<std::string>(value) : std::nullopt;
        }
        server = std::make_unique<PrivatePulseServer>(folder.path);
        ASSERT_TRUE(server->ready()) << folder.read("pulse.log");
    }
    void TearDown() override {
        server.reset();
        for (const auto& [name, value] : savedEnvironment) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
    }
};

} // namespace

TEST_F(PulseAudioServerTest, NoticesAMeetingAppTakingTheMicrophoneAndLettingGo) {
    Platform::PosixProcessRunner runner;
    Platform::PulseMicrophoneMonitor monitor(*onPath("pactl"), runner);
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
    auto zoom = spawn({"parecord", "--property=application.process.binary=zoom",
                       "--property=application.name=ZOOM VoiceEngine", (folder.path / "zoom.wav").string()});
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
    options.executable = *onPath("parecord");
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
    Platform::PulseMicrophoneMonitor monitor(*onPath("pactl"), runner);
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

// The Wayland screen capture's reading of the shared stream, against a real PipeWire: a private daemon (its
// own runtime folder), a GStreamer test picture published as a video source node as a compositor publishes
// the shared screen, and the share handed over as the portal hands it (a socket to the daemon and the node).
// No session manager runs here, so the test links the source to our stream itself, as the desktop's session
// manager does. Skipped where pipewire, pw-link or GStreamer's PipeWire elements are missing.
#include "AudioEngine/PortalScreenCapture.h"

#include "Platform/ChildProcess.h"
#include "Platform/PosixProcessRunner.h"
#include "Platform/ProcessSpawning.h"
#include "Support/Files.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <csignal>
#include <poll.h>
#include <random>
#include <regex>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using AudioEngine::PortalScreenCapture;
namespace fs = std::filesystem;

namespace {

/// A share as the portal gives it: a socket connected to the PipeWire daemon, and the screen's node.
class SocketShare final : public Platform::ScreenShare {
public:
    SocketShare(int fd, std::uint32_t node) : fd_(fd), node_(node) {}
    ~SocketShare() override { ::close(fd_); }
    int pipewireFd() const override { return fd_; }
    std::uint32_t node() const override { return node_; }
    const std::optional<std::string>& restoreToken() const override { return token_; }

private:
    int fd_;
    std::uint32_t node_;
    std::optional<std::string> token_;
};

/// Waits (at most `limit`) until `name` appears in `folder`, watching it rather than polling.
bool appears(const fs::path& folder, const std::string& name, std::chrono::milliseconds limit) {
    int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    ::inotify_add_watch(watch, folder.c_str(), IN_CREATE | IN_MOVED_TO);
    const auto giveUp = std::chrono::steady_clock::now() + limit;
    bool found = fs::exists(folder / name);
    while (!found && std::chrono::steady_clock::now() < giveUp) {
        pollfd ready{watch, POLLIN, 0};
        ::poll(&ready, 1, 100);
        char buffer[4096];
        while (::read(watch, buffer, sizeof buffer) > 0) {
        }
        found = fs::exists(folder / name);
    }
    ::close(watch);
    return found;
}

int connectTo(const fs::path& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
    // The daemon binds, then listens a moment later: a refused connection is tried again.
    for (int attempt = 0; attempt < 1000; ++attempt) {
        int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            return fd;
        }
        ::close(fd);
        ::sched_yield();
    }
    return -1;
}

struct PipeWireScreen : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'795'000'000)};
    fs::path folder = fs::temp_directory_path() / ("vellmora-pw-" + std::to_string(std::random_device{}()));
    const char* path = std::getenv("PATH");
    std::optional<fs::path> pipewire = Platform::findExecutable("pipewire", path ? path : "");
    std::optional<fs::path> gst = Platform::findExecutable("gst-launch-1.0", path ? path : "");
    std::optional<fs::path> link = Platform::findExecutable("pw-link", path ? path : "");
    std::optional<fs::path> cli = Platform::findExecutable("pw-cli", path ? path : "");
    std::optional<fs::path> dump = Platform::findExecutable("pw-dump", path ? path : "");
    std::unique_ptr<Platform::ChildProcess> daemon;
    std::unique_ptr<Platform::ChildProcess> source;
    Platform::PosixProcessRunner runner;

    void SetUp() override {
        if (!pipewire || !gst || !link || !cli || !dump || !fs::exists("/usr/bin/ffprobe") ||
            !runner.runBlocking({.executable = "/usr/bin/gst-inspect-1.0", .arguments = {"pipewiresrc"}})
                 .succeeded()) {
            GTEST_SKIP() << "needs pipewire, pw-link, ffprobe and GStreamer's PipeWire elements";
        }
        fs::create_directories(folder / "runtime");
        fs::permissions(folder / "runtime", fs::perms::owner_all);
        // The daemon and every client of this test find one another in the private folder.
        ::setenv("PIPEWIRE_RUNTIME_DIR", (folder / "runtime").c_str(), 1);
        daemon = std::make_unique<Platform::ChildProcess>(
            Platform::ChildProcess::Options{.executable = pipewire->string(),
                                            .output = Platform::ChildProcess::Output::file,
                                            .outputFile = folder / "pipewire.log"});
        ASSERT_TRUE(appears(folder / "runtime", "pipewire-0", std::chrono::seconds(20)));
    }
    void TearDown() override {
        source.reset();
        daemon.reset();
        ::unsetenv("PIPEWIRE_RUNTIME_DIR");
        fs::remove_all(folder);
    }

    /// Publishes a moving test picture as a video source node, as a compositor does; gives its node id.
    std::optional<std::uint32_t> publishScreen() {
        source = std::make_unique<Platform::ChildProcess>(Platform::ChildProcess::Options{
            .executable = gst->string(),
            .arguments = {"videotestsrc", "is-live=true", "pattern=ball", "!",
                          "video/x-raw,format=BGRx,width=320,height=240,framerate=5/1", "!", "pipewiresink",
                          "mode=provide",
                          "stream-properties=props,media.class=Video/Source,node.name=vellmora-test-screen"},
            .output = Platform::ChildProcess::Output::file,
            .outputFile = folder / "source.log"});
        static const std::regex node(R"(id (\d+), type PipeWire:Interface:Node[^\n]*\n(?:[^\n]*\n)*?)"
                                     R"([^\n]*node\.name = "vellmora-test-screen")");
        return waitFor([&]() -> std::optional<std::uint32_t> {
            auto listed = runner.runBlocking({.executable = cli->string(), .arguments = {"ls", "Node"}});
            std::smatch found;
            if (std::regex_search(listed.standardOutput, found, node)) {
                return std::uint32_t(std::stoul(found[1]));
            }
            return std::nullopt;
        });
    }

    /// Asks `probe` again, the loop and the clock (following real time) turning, until it gives something.
    template <typename Probe> auto waitFor(Probe probe) -> decltype(probe()) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < giveUp) {
            if (auto result = probe()) {
                return result;
            }
            loop.runOne(20);
            scheduler.advance(std::chrono::milliseconds(20));
        }
        return {};
    }
    template <typename T> T await(const Support::Task<T>& task) {
        waitFor([&] { return task.isDone(); });
        return task.get();
    }
};

} // namespace

TEST_F(PipeWireScreen, TheSharedStreamIsRecordedAtTheChosenFrameRateIntoAVideoThatPlays) {
    auto node = publishScreen();
    ASSERT_TRUE(node) << "the test picture was never published";
    PortalScreenCapture capture(
        scheduler,
        {.gstLaunch = *gst,
         .frameRate = 5,
         .tokenFile = folder / "token",
         .logFile = folder / "gst.log",
         .openShare = [&](const Platform::ScreenShareRequest&) -> std::unique_ptr<Platform::ScreenShare> {
             return std::make_unique<SocketShare>(connectTo(folder / "runtime/pipewire-0"), *node);
         }});
    const auto file = folder / "call.mkv";
    const auto recordingStart = scheduler.now();
    await(capture.start(file, recordingStart));
    ASSERT_TRUE(capture.isCapturing());

    // The session manager's part: our stream's input is linked to the screen's output once it is there.
    ASSERT_TRUE(waitFor([&] {
        return runner
            .runBlocking({.executable = link->string(),
                          .arguments = {"vellmora-test-screen:out_0", "gst-launch-1.0:in_0"}})
            .succeeded();
    })) << "our stream never offered its input";
    // Pictures reach the file as they come (a killed capture keeps them): a few of them.
    ASSERT_TRUE(waitFor([&] {
        std::error_code error;
        return fs::file_size(file, error) > 1500 && !error;
    })) << "the stream never ran";
    auto video = await(capture.stop());
    ASSERT_TRUE(video) << Support::Files::readIfExists(folder / "gst.log").value_or("(no log)");
    EXPECT_EQ(video->file, file);
    EXPECT_FALSE(capture.isCapturing());

    auto probe = runner.runBlocking(
        {.executable = "/usr/bin/ffprobe",
         .arguments = {"-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                       "stream=codec_name,width,height,r_frame_rate,nb_read_frames", "-of", "csv=p=0",
                       file.string()}});
    ASSERT_TRUE(probe.succeeded()) << probe.standardError;
    std::smatch fields;
    const std::string text = probe.standardOutput;
    ASSERT_TRUE(std::regex_search(text, fields, std::regex(R"(vp9,320,240,5/1,(\d+))"))) << text;
    EXPECT_GE(std::stoi(fields[1]), 2);
}

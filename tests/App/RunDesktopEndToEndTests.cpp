// `vellmora run --demo` on a desktop: a private session bus with a notification server, where the heads-up
// arrives as a desktop notification with actions and the user answers it from there ("Join & Record" via
// ActionInvoked): the meeting is joined, the call recorded, and SIGTERM saves it and exits 0. Without a
// display `vellmora` runs on its own; with one (Qt's offscreen platform here) it hands over to
// `vellmora-windows` in the same process, which opens the windows. Real time, so the test waits for what it
// expects (with a deadline), never for a fixed time.
#include "Platform/Linux/FakeNotificationServer.h"
#include "Platform/Linux/PrivateBus.h"
#include "UI/calendar/MeetingReminderNotificationContent.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class DesktopRun {
public:
    DesktopRun(const std::string& busAddress, bool display) {
        folder_ = fs::temp_directory_path() / ("vellmora-desktop-test-" + std::to_string(::getpid()));
        fs::remove_all(folder_);
        fs::create_directories(folder_ / "home");
        pid_ = ::fork();
        if (pid_ == 0) {
            int out = ::open((folder_ / "out.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(out, 1);
            ::dup2(out, 2);
            ::setenv("DBUS_SESSION_BUS_ADDRESS", busAddress.c_str(), 1);
            ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
            ::setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
            ::setenv("HOME", (folder_ / "home").c_str(), 1);
            ::setenv("TZ", "UTC", 1);
            ::unsetenv("DISPLAY");
            if (display) {
                ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
            }
            ::execl(VELLMORA_BINARY, VELLMORA_BINARY, "run", "--demo", "--no-input", nullptr);
            ::_exit(127);
        }
    }
    ~DesktopRun() {
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        std::error_code ec;
        fs::remove_all(folder_, ec);
    }
    std::string output() const {
        std::ifstream in(folder_ / "out.txt");
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    bool waitFor(const std::function<bool()>& done, double seconds) const {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return true;
    }
    bool waitForOutput(const std::string& text, double seconds = 20) const {
        return waitFor([&] { return output().find(text) != std::string::npos; }, seconds);
    }
    /// The program the process runs now.
    fs::path program() const {
        std::error_code ec;
        return fs::read_symlink("/proc/" + std::to_string(pid_) + "/exe", ec);
    }
    /// Sends SIGTERM and gives the exit status (-1 when it did not exit in time).
    int terminate() {
        ::kill(pid_, SIGTERM);
        int status = 0;
        bool done = waitFor([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 20);
        exited_ = done;
        return done && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    fs::path folder_;
    pid_t pid_ = -1;
    bool exited_ = false;
};

} // namespace

class RunDesktopEndToEnd : public testing::TestWithParam<bool> {};

#ifdef VELLMORA_HAS_WINDOWED_PROGRAM
const auto displays = testing::Values(false, true);
#else
const auto displays = testing::Values(false);
#endif

INSTANTIATE_TEST_SUITE_P(WithAndWithoutADisplay, RunDesktopEndToEnd, displays,
                         [](const auto& info) { return info.param ? "withWindows" : "terminalAndTray"; });

TEST_P(RunDesktopEndToEnd, AReminderAnsweredFromTheDesktopNotificationJoinsAndRecordsTheMeeting) {
    BusTest::PrivateBus bus;
    if (bus.address().empty()) {
        GTEST_SKIP() << "dbus-daemon is not installed";
    }
    BusTest::FakeNotificationServer server;
    BusTest::ServiceThread service(bus.address(), "org.freedesktop.Notifications",
                                   "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                                   BusTest::notificationVTable, &server);
    const bool display = GetParam();
    DesktopRun run(bus.address(), display);

    const std::string joinRecord = UI::MeetingReminderNotificationContent::joinRecordAction;
    std::optional<uint32_t> id;
    ASSERT_TRUE(run.waitFor([&] { return (id = server.findWithAction(joinRecord)).has_value(); }, 45))
        << "a heads-up with its actions on the desktop\n"
        << run.output();
    EXPECT_EQ(run.program().filename(), display ? "vellmora-windows" : "vellmora")
        << "the same process runs the windowed program when there is a display";
    EXPECT_EQ(run.output().find("windows could not start"), std::string::npos) << run.output();

    service.post([id = *id, joinRecord](sd_bus* b) {
        sd_bus_emit_signal(b, "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                           "ActionInvoked", "us", id, joinRecord.c_str());
    });
    ASSERT_TRUE(run.waitForOutput("(demo) Would open")) << run.output();
    ASSERT_TRUE(run.waitFor([&] { return !server.findWithAction(joinRecord); }, 20))
        << "the answered reminder is taken down";
    ASSERT_TRUE(run.waitForOutput("Recording 00:0")) << "the call is recorded\n" << run.output();

    EXPECT_EQ(run.terminate(), 0) << run.output();
    EXPECT_NE(run.output().find("Saved “"), std::string::npos) << run.output();
}

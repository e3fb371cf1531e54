// `vellmora run --demo` driven as a person would, in tmux: the heads-up, the meeting card, Join & Record,
// the recording running, stopping it, and the recording in the library. The process runs in real time, so
// the test waits for what it expects to appear on the screen (with a deadline), never for a fixed time.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

std::string shell(const std::string& command) {
    std::string output;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) {
        return output;
    }
    std::array<char, 4096> buf{};
    size_t n;
    while ((n = std::fread(buf.data(), 1, buf.size(), pipe)) > 0) {
        output.append(buf.data(), n);
    }
    ::pclose(pipe);
    return output;
}

class TmuxSession {
public:
    TmuxSession() : socket_("vellmora-test-" + std::to_string(::getpid())) {
        folder_ = std::filesystem::temp_directory_path() / socket_;
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_ / "home");
    }
    ~TmuxSession() {
        shell(tmux() + " kill-server 2>/dev/null");
        std::error_code ec;
        std::filesystem::remove_all(folder_, ec);
    }
    // A detached session needs no terminal of ours, but tmux wants to know what TERM to emulate.
    std::string tmux() const { return "TERM=xterm-256color tmux -L " + socket_; }

    void start(const std::string& arguments) {
        // A private runtime folder (demo data, instance lock) and home; no session bus: the terminal
        // presenter.
        std::string env = "env -u DBUS_SESSION_BUS_ADDRESS -u DISPLAY XDG_RUNTIME_DIR=" + folder_.string() +
                          " HOME=" + (folder_ / "home").string() + " TZ=UTC LANG=en_US.UTF-8";
        std::string command = env + " " + VELLMORA_BINARY + " " + arguments + "; echo EXIT=$?; sleep 60";
        shell(tmux() + " new-session -d -s demo -x 160 -y 60 '" + command + "'");
    }
    std::string screen() const { return shell(tmux() + " capture-pane -p -S -200 -t demo"); }
    void keys(const std::string& keys) const { shell(tmux() + " send-keys -t demo " + keys); }

    /// Waits until `text` is on the screen; false after `seconds`.
    bool waitFor(const std::string& text, double seconds = 20) const {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (std::chrono::steady_clock::now() < deadline) {
            if (screen().find(text) != std::string::npos) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }

private:
    std::string socket_;
    std::filesystem::path folder_;
};

} // namespace

TEST(RunDemoEndToEnd, ANewcomerSeesTheReminderJoinsAndRecordsAndFindsTheRecordingInTheLibrary) {
    if (shell("command -v tmux").empty()) {
        GTEST_SKIP() << "tmux is not installed";
    }
    TmuxSession session;
    session.start("run --demo --demo-meeting-in 63");

    ASSERT_TRUE(session.waitFor("Join & Record", 30)) << "the meeting card\n" << session.screen();
    // The card swallows keys for its guard period: Tab until the focus shows (the first Tab that counts
    // focuses the first button).
    bool focused = false;
    for (int i = 0; i < 40 && !focused; ++i) {
        session.keys("Tab");
        focused = session.waitFor("[Join & Record]", 0.25);
    }
    ASSERT_TRUE(focused) << session.screen();
    session.keys("Enter");
    ASSERT_TRUE(session.waitFor("(demo) Would open https://zoom.us/j/81234567890")) << session.screen();
    ASSERT_TRUE(session.waitFor("Recording 00:0")) << "the call is recorded\n" << session.screen();
    ASSERT_TRUE(session.waitFor("Recording 00:02")) << "the timer runs\n" << session.screen();
    session.keys("r");
    ASSERT_TRUE(session.waitFor("Saved “Design review”")) << session.screen();
    ASSERT_TRUE(session.waitFor("segments in the library"))
        << "the simulated engine transcribes both tracks\n"
        << session.screen();
    session.keys("l");
    ASSERT_TRUE(session.waitFor("Quarterly planning")) << "the demo library is listed\n" << session.screen();
    session.keys("m");
    ASSERT_TRUE(session.waitFor("Up Next")) << "the menu shows the next meetings\n" << session.screen();
    ASSERT_TRUE(session.waitFor("Heads-up: Customer call: Northwind", 30)) << session.screen();
    session.keys("q");
    ASSERT_TRUE(session.waitFor("EXIT=0")) << session.screen();
}

TEST(RunDemoEndToEnd, SigtermWhileRecordingSavesTheRecordingAndExitsZero) {
    if (shell("command -v tmux").empty()) {
        GTEST_SKIP() << "tmux is not installed";
    }
    TmuxSession session;
    session.start("run --demo --demo-meeting-in 900");
    ASSERT_TRUE(session.waitFor("[r] Record")) << session.screen();
    session.keys("r");
    ASSERT_TRUE(session.waitFor("Recording 00:0")) << session.screen();
    shell("pkill -TERM -f 'vellmora run --demo --demo-meeting-in 900$' ");
    ASSERT_TRUE(session.waitFor("Saved “Recording")) << session.screen();
    ASSERT_TRUE(session.waitFor("EXIT=0")) << session.screen();
}

TEST(RunDemoEndToEnd, ASecondDemoForTheSameUserRefusesToStart) {
    if (shell("command -v tmux").empty()) {
        GTEST_SKIP() << "tmux is not installed";
    }
    TmuxSession session;
    // The meeting far enough away that its card (which takes the keyboard, q included) is not shown.
    session.start("run --demo --demo-meeting-in 900");
    ASSERT_TRUE(session.waitFor("[r] Record")) << session.screen();
    auto runtime = std::filesystem::temp_directory_path() / ("vellmora-test-" + std::to_string(::getpid()));
    auto second = shell("env XDG_RUNTIME_DIR=" + runtime.string() + " " + VELLMORA_BINARY +
                        " run --demo --no-input </dev/null 2>&1; echo EXIT=$?");
    EXPECT_NE(second.find("already running"), std::string::npos) << second;
    EXPECT_NE(second.find("EXIT=1"), std::string::npos) << second;
    session.keys("q");
    ASSERT_TRUE(session.waitFor("EXIT=0")) << session.screen();
}

#include "App/host/TerminalPresenter.h"

#include "Support/Log.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace {

struct TerminalPresenterTest : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1795770000)};
    UI::RecordingState state{[this] { return scheduler.now(); }};
    // The terminal: what the program writes to stdout and stderr lands on one screen.
    std::ostringstream screen;

    std::unique_ptr<App::TerminalPresenter> presenter(bool interactive) {
        return std::make_unique<App::TerminalPresenter>(
            loop, scheduler, state,
            App::TerminalPresenter::Streams{
                .out = screen, .err = screen, .inputFd = -1, .interactive = interactive},
            "UTC", "en_US");
    }
    std::string statusLine() const {
        return App::TerminalPresenter::statusLine(state.phase(), scheduler.now());
    }
};

} // namespace

TEST_F(TerminalPresenterTest, MessagesAndLogLinesGoAboveTheStatusLineWhichIsDrawnAgainAfterThem) {
    Support::setLogToJournal(false);
    auto terminal = presenter(true);
    const std::string clear = "\r\033[2K";
    EXPECT_EQ(screen.str(), clear + statusLine());

    screen.str("");
    terminal->message("⏰ Heads-up: Design review · in 5 min");
    EXPECT_EQ(screen.str(), clear + "⏰ Heads-up: Design review · in 5 min\n" + clear + statusLine());

    screen.str("");
    // From another thread too, as the blocking-work pool logs.
    std::thread([] { Support::Logger("power").error("Waking from sleep won't be noticed at once"); }).join();
    EXPECT_EQ(screen.str(),
              clear + "vellmora[power] error: Waking from sleep won't be noticed at once\n" + statusLine());

    terminal.reset();
    screen.str("");
    Support::Logger("power").error("after the terminal");
    EXPECT_EQ(screen.str(), "") << "the log has its stderr back once the presenter is gone";
    Support::setLogToJournal(true);
}

TEST_F(TerminalPresenterTest, OnAPipeEachMessageAndStatusIsALineAndTheLogKeepsItsStderr) {
    Support::setLogToJournal(false);
    auto piped = presenter(false);
    piped->message("hello");
    Support::Logger("power").error("to stderr");
    EXPECT_EQ(screen.str(), statusLine() + "\nhello\n");
    Support::setLogToJournal(true);
}

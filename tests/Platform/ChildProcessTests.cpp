#include "Platform/ChildProcess.h"

#include "Platform/ProcessSpawning.h"

#include "Fakes/ScriptFolder.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

using Platform::ChildProcess;

namespace {

int awaitExit(Support::MainLoop& loop, ChildProcess& child) {
    std::optional<int> status;
    auto waiter = Support::startTask([&]() -> Support::Task<void> { status = co_await child.waitForExit(); });
    EXPECT_TRUE(Fakes::runUntil(loop, [&] { return status.has_value(); }));
    return status.value_or(-1);
}

/// Whether a process is gone (or only a zombie that nobody here can reap).
bool isGone(int pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    if (!std::getline(stat, line)) {
        return true;
    }
    auto end = line.rfind(')');
    return end != std::string::npos && end + 2 < line.size() && line[end + 2] == 'Z';
}

TEST(ChildProcess, ReportsTheExitStatusOnTheLoopAlsoToObserversThatComeLate) {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    ChildProcess child({.executable = folder.script("tool", "exit 3").string()});
    EXPECT_EQ(awaitExit(loop, child), 3);
    EXPECT_EQ(child.exitStatus(), 3);

    std::optional<int> late;
    auto observer = child.onExit([&](int status) { late = status; });
    EXPECT_FALSE(late) << "called inside onExit";
    loop.runUntilIdle();
    EXPECT_EQ(late, 3);
}

TEST(ChildProcess, SignalsAndDestructionReachWhatTheChildStarted) {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    auto script = folder.script("tool", "sleep 300 &\necho $! > \"$(dirname \"$0\")/grandchild\"\nwait\n");
    {
        ChildProcess child({.executable = script.string()});
        ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !folder.read("grandchild").empty(); }));
        child.signal(SIGTERM);
        EXPECT_EQ(awaitExit(loop, child), 128 + SIGTERM);
        auto grandchild = std::stoi(folder.read("grandchild"));
        EXPECT_TRUE(Fakes::runUntil(loop, [&] { return isGone(grandchild); }));
    }
    folder.write("grandchild", "");
    {
        ChildProcess child({.executable = script.string()});
        ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !folder.read("grandchild").empty(); }));
    }
    auto grandchild = std::stoi(folder.read("grandchild"));
    EXPECT_TRUE(Fakes::runUntil(loop, [&] { return isGone(grandchild); }));
}

TEST(ChildProcess, AProgramStartedWithADeathSignalGetsItWhenItsStarterIsKilled) {
    if (!Platform::findExecutable("setpriv", "/usr/bin:/bin")) {
        GTEST_SKIP() << "needs util-linux's setpriv";
    }
    Fakes::ScriptFolder folder;
    // The program notes its pid, then waits; on SIGINT it notes that and ends.
    auto script =
        folder.script("recorder", "trap 'echo interrupted > \"$(dirname \"$0\")/ended\"; exit 0' INT\n"
                                  "echo $$ > \"$(dirname \"$0\")/pid.part\"; mv \"$(dirname "
                                  "\"$0\")/pid.part\" \"$(dirname \"$0\")/pid\"\n"
                                  "while :; do sleep 0.05; done\n");
    for (int signal : {SIGINT, 0}) {
        SCOPED_TRACE(signal);
        folder.write("ended", "");
        folder.write("pid", "");
        // The starter is a process of its own (a host), killed outright once the program runs.
        pid_t host = ::fork();
        if (host == 0) {
            Support::MainLoop loop;
            ChildProcess child({.executable = script.string(), .parentDeathSignal = signal});
            while (true) {
                loop.runOne(1000);
            }
        }
        ASSERT_GT(host, 0);
        Support::MainLoop loop;
        ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !folder.read("pid").empty(); }));
        const int program = std::stoi(folder.read("pid"));
        ::kill(host, SIGKILL);
        ::waitpid(host, nullptr, 0);
        if (signal != 0) {
            EXPECT_TRUE(Fakes::runUntil(loop, [&] { return folder.read("ended") == "interrupted\n"; }));
            EXPECT_TRUE(Fakes::runUntil(loop, [&] { return isGone(program); }));
        } else {
            EXPECT_FALSE(isGone(program)) << "without one it outlives its starter";
            ::kill(program, SIGKILL);
        }
    }
}

TEST(ChildProcess, SendsOutputToAPipeOrAppendsItToAFile) {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    auto script = folder.script("tool", "echo out\necho err >&2\n");
    {
        ChildProcess child({.executable = script.string(), .output = ChildProcess::Output::pipe});
        awaitExit(loop, child);
        char buffer[64] = {};
        auto n = ::read(child.outputDescriptor(), buffer, sizeof buffer);
        EXPECT_EQ(std::string(buffer, size_t(std::max<ssize_t>(n, 0))), "out\nerr\n");
    }
    folder.write("log", "before\n");
    ChildProcess child({.executable = script.string(),
                        .output = ChildProcess::Output::file,
                        .outputFile = folder.path / "log"});
    awaitExit(loop, child);
    EXPECT_EQ(folder.read("log"), "before\nout\nerr\n");
}

TEST(ChildProcess, AProgramThatCannotBeStartedThrows) {
    Support::MainLoop loop;
    Fakes::ScriptFolder folder;
    folder.write("plain", "not executable");
    EXPECT_THROW(ChildProcess({.executable = (folder.path / "plain").string()}), std::system_error);
    EXPECT_THROW(ChildProcess({.executable = "/nonexistent/tool"}), std::system_error);
    EXPECT_THROW(ChildProcess({.executable = "/nonexistent/tool", .parentDeathSignal = SIGINT}),
                 std::system_error);
}

TEST(ChildProcess, EndsWithinTellsAnEndBeforeTheLimitFromALimitThatPassesFirst) {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler(loop, Support::Date{});
    Fakes::ScriptFolder folder;
    ChildProcess quick({.executable = folder.script("quick", "exit 0").string()});
    ChildProcess slow({.executable = folder.script("slow", "exec sleep 300").string()});

    std::optional<bool> quickEnded, slowEnded;
    auto first = Support::startTask([&]() -> Support::Task<void> {
        quickEnded = co_await Platform::endsWithin(quick, scheduler, std::chrono::seconds(5));
    });
    auto second = Support::startTask([&]() -> Support::Task<void> {
        slowEnded = co_await Platform::endsWithin(slow, scheduler, std::chrono::seconds(5));
    });
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return quickEnded.has_value(); }));
    EXPECT_TRUE(*quickEnded);
    EXPECT_FALSE(slowEnded);
    scheduler.advance(std::chrono::seconds(5));
    EXPECT_EQ(slowEnded, false);
    EXPECT_EQ(scheduler.pendingTimers(), 0u);
}

TEST(ChildProcess, TheLastLogLineIsTheLastWholeMessageNotAProgressLine) {
    Fakes::ScriptFolder folder;
    struct Case {
        const char* log;
        const char* skipped;
        const char* expected;
    };
    for (auto c : {
             Case{"", "", ""},
             Case{"first\nsecond\n\n", "", "second"},
             Case{"no final newline", "", "no final newline"},
             Case{"Opening input\nframe=1\rframe=2\rDevice busy\n", "frame=", "Device busy"},
             Case{"Device busy\nframe=1\rframe=2\n", "frame=", "Device busy"},
             Case{"frame=1\rframe=2\n", "", "frame=2"},
         }) {
        folder.write("log", c.log);
        EXPECT_EQ(Platform::lastLogLine(folder.path / "log", c.skipped), c.expected) << c.log;
    }
    EXPECT_EQ(Platform::lastLogLine(folder.path / "missing"), "");
    EXPECT_EQ(Platform::lastLogLine({}), "");
}

} // namespace

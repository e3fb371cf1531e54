#include "Platform/Linux/CommandLineClipboard.h"
#include "Platform/PosixProcessRunner.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

using Platform::ProcessRequest;

namespace {

ProcessRequest shell(std::string script) {
    ProcessRequest r;
    r.executable = "/bin/sh";
    r.arguments = {"-c", std::move(script)};
    return r;
}

} // namespace

TEST(PosixProcessRunner, CollectsOutputErrorAndExitStatus) {
    Platform::PosixProcessRunner runner;
    auto result = runner.runBlocking(shell("printf out; printf err >&2; exit 3"));
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.standardOutput, "out");
    EXPECT_EQ(result.standardError, "err");

    auto killed = runner.runBlocking(shell("kill -9 $$"));
    EXPECT_EQ(killed.exitStatus, 128 + 9);
}

TEST(PosixProcessRunner, FeedsLargeInputWhileDrainingLargeOutput) {
    Platform::PosixProcessRunner runner;
    auto request = shell("cat; cat /dev/null >&2");
    request.standardInput = std::string(3 * 1024 * 1024, 'x');
    auto result = runner.runBlocking(request);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.standardOutput.size(), request.standardInput.size());
}

TEST(PosixProcessRunner, GivesTheChildExactlyTheEnvironmentAsked) {
    Platform::PosixProcessRunner runner;
    auto request = shell("printf '%s|%s' \"$ONLY\" \"$HOME\"");
    request.environment = std::map<std::string, std::string>{{"ONLY", "this"}};
    EXPECT_EQ(runner.runBlocking(request).standardOutput, "this|");
}

TEST(PosixProcessRunner, AProgramThatCannotStartThrows) {
    Platform::PosixProcessRunner runner;
    ProcessRequest request;
    request.executable = "/nonexistent/claude";
    EXPECT_THROW(runner.runBlocking(request), std::system_error);
}

// The one test here that waits real time: a child that never ends is stopped by the time-out, with the
// children it started (a shell's sleep keeps the output pipe open).
TEST(PosixProcessRunner, ATimeOutKillsTheProgramAndWhatItStarted) {
    Platform::PosixProcessRunner runner;
    auto request = shell("sleep 30 & sleep 30");
    request.timeout = std::chrono::milliseconds(150);
    auto started = std::chrono::steady_clock::now();
    auto result = runner.runBlocking(request);
    EXPECT_TRUE(result.timedOut);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));

    auto closesOutputEarly = shell("exec >/dev/null 2>&1; sleep 30");
    closesOutputEarly.timeout = std::chrono::milliseconds(150);
    EXPECT_TRUE(runner.runBlocking(closesOutputEarly).timedOut);
}

TEST(CommandLineClipboard, PicksTheToolOfTheSessionAndPipesTheText) {
    char pattern[] = "/tmp/vellmora-clip-XXXXXX";
    std::filesystem::path dir = ::mkdtemp(pattern);
    auto tool = [&](const std::string& name) {
        std::ofstream(dir / name) << "#!/bin/sh\nprintf '%s ' \"$@\" > \""
                                  << (dir / (name + ".args")).string() << "\"\ncat > \""
                                  << (dir / (name + ".in")).string() << "\"\n";
        std::filesystem::permissions(dir / name, std::filesystem::perms::owner_all);
    };
    tool("wl-copy");
    tool("xclip");
    auto runner = std::make_shared<Platform::PosixProcessRunner>();
    auto clipboard = [&](std::map<std::string, std::string> vars) {
        vars["PATH"] = "/nonexistent:" + dir.string();
        return Platform::CommandLineClipboard(runner, [vars](const char* n) -> std::optional<std::string> {
            auto it = vars.find(n);
            return it == vars.end() ? std::nullopt : std::optional<std::string>(it->second);
        });
    };
    auto read = [&](const std::string& name) {
        std::ifstream in(dir / name);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    };

    auto wayland = clipboard({{"WAYLAND_DISPLAY", "wayland-0"}, {"DISPLAY", ":0"}});
    EXPECT_TRUE(wayland.setText("{\n  \"mcpServers\": {}\n}"));
    EXPECT_EQ(read("wl-copy.in"), "{\n  \"mcpServers\": {}\n}");

    auto x11 = clipboard({{"DISPLAY", ":0"}});
    EXPECT_TRUE(x11.setText("claude mcp add"));
    EXPECT_EQ(read("xclip.in"), "claude mcp add");
    EXPECT_EQ(read("xclip.args"), "-selection clipboard -in ");

    EXPECT_FALSE(clipboard({}).setText("nowhere to put it"));
    std::filesystem::remove_all(dir);
}

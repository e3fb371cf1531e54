#include "UI/aiapps/ClaudeCLIRunner.h"
#include "UI/aiapps/ClaudeCodeCommand.h"

#include "Fakes/FakeProcessRunner.h"
#include "Support/MainLoop.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <random>

using UI::ClaudeCLIResult;
using UI::ClaudeCLIRunner;
using UI::ClaudeCodeCommand;

namespace {

/// What `sh -c 'printf %s WORD'` prints.
std::string throughTheShell(const std::string& word) {
    std::string command = "printf %s " + word;
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string out;
    char buffer[4096];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) {
        out.append(buffer, n);
    }
    ::pclose(pipe);
    return out;
}

} // namespace

TEST(ClaudeCodeCommand, AddAndRemoveArgumentsNameOurServerAtUserScope) {
    EXPECT_EQ(
        ClaudeCodeCommand::addArguments("/opt/v/vellmora-mcp"),
        (std::vector<std::string>{"mcp", "add", "--scope", "user", "vellmora", "--", "/opt/v/vellmora-mcp"}));
    EXPECT_EQ(ClaudeCodeCommand::removeArguments(),
              (std::vector<std::string>{"mcp", "remove", "--scope", "user", "vellmora"}));
    EXPECT_EQ(
        ClaudeCodeCommand::addCommandLine("/home/ada/My Apps/vellmora-mcp", "/home/ada/.local/bin/claude"),
        "/home/ada/.local/bin/claude mcp add --scope user vellmora -- '/home/ada/My Apps/vellmora-mcp'");
}

TEST(ClaudeCodeCommand, ShellQuotingLeavesSafeWordsAndQuotesEverythingElse) {
    struct Case {
        std::string in;
        std::string out;
    };
    const Case cases[] = {
        {"/usr/local/bin/claude", "/usr/local/bin/claude"},
        {"a-b_c.d/e=f:g@h+i,j", "a-b_c.d/e=f:g@h+i,j"},
        {"", "''"},
        {"two words", "'two words'"},
        {"it's", "'it'\\''s'"},
        {"$HOME", "'$HOME'"},
        {"~/x", "'~/x'"},
        {"caf\xC3\xA9", "'caf\xC3\xA9'"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ClaudeCodeCommand::shellQuoted(c.in), c.out) << c.in;
    }
}

TEST(ClaudeCodeCommand, AnyStringQuotedAndPassedThroughTheShellComesBackByteForByte) {
    std::mt19937 random(8);
    std::uniform_int_distribution<int> length(0, 24);
    std::uniform_int_distribution<int> byte(1, 255); // argv cannot hold a NUL byte
    std::uniform_int_distribution<int> nasty(0, 9);
    const std::string specials = "'\"\\$`!*?[]{}()<>|&;#~ \t\n%";
    for (int i = 0; i < 300; ++i) {
        std::string s;
        for (int n = length(random); n > 0; --n) {
            s.push_back(nasty(random) < 4 ? specials[static_cast<size_t>(byte(random)) % specials.size()]
                                          : static_cast<char>(byte(random)));
        }
        ASSERT_EQ(throughTheShell(ClaudeCodeCommand::shellQuoted(s)), s) << "case " << i;
    }
}

TEST(ClaudeCLIResult, FailureSummarySaysWhatTheToolSaidOnItsFirstLine) {
    struct Case {
        ClaudeCLIResult result;
        std::string expected;
    };
    const Case cases[] = {
        {{137, true, "partial", "x"}, "Claude Code didn't answer in time."},
        {{2, false, "", ""}, "Claude Code stopped with code 2"},
        {{1, false, "ignored", "\n  Error: exists  \nstack"},
         "Claude Code stopped with code 1: Error: exists"},
        {{1, false, "Usage: claude\n", "  \n"}, "Claude Code stopped with code 1: Usage: claude"},
        {{1, false, "", std::string(400, 'e')}, "Claude Code stopped with code 1: " + std::string(300, 'e')},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.result.failureSummary(), c.expected);
    }
}

TEST(ClaudeCLIRunner, PutsTheUsualToolFoldersBeforeThePath) {
    auto env = ClaudeCLIRunner::environment("/home/ada", {{"PATH", "/usr/bin"}, {"LANG", "C"}});
    EXPECT_EQ(env.at("PATH"), "/home/ada/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin");
    EXPECT_EQ(env.at("LANG"), "C");
    EXPECT_EQ(ClaudeCLIRunner::environment("/home/ada", {}).at("PATH"),
              "/home/ada/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin");
}

TEST(ClaudeCLIRunner, RunsWithThatEnvironmentAndReportsAToolThatCannotStart) {
    Support::MainLoop loop;
    auto processes = std::make_shared<Fakes::FakeProcessRunner>();
    processes->script({3, false, "out", "err"});
    processes->scriptStartFailure(std::errc::no_such_file_or_directory);
    ClaudeCLIRunner runner(processes, "/home/ada", {{"PATH", "/bin"}});
    // One after the other: the fake hands out its scripted outcomes in the order the processes start.
    auto first = runner.run("/x/claude", {"mcp"}, std::chrono::seconds(30));
    while (!first.isDone()) {
        loop.runOne(1000);
    }
    auto second = runner.run("/x/claude", {"mcp"}, std::chrono::seconds(30));
    while (!second.isDone()) {
        loop.runOne(1000);
    }
    EXPECT_EQ(first.get(), (ClaudeCLIResult{3, false, "out", "err"}));
    EXPECT_EQ(second.get().exitStatus, 127);
    EXPECT_FALSE(second.get().errorOutput.empty());
    auto request = processes->requests().at(0);
    EXPECT_EQ(request.environment->at("PATH"), "/home/ada/.local/bin:/opt/homebrew/bin:/usr/local/bin:/bin");
    EXPECT_EQ(request.timeout, std::chrono::seconds(30));
}

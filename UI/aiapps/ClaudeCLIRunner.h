// Runs the Claude Code command-line tool (`claude mcp add ...`) and reports how it went. Every run has a
// time-out (30 seconds from the settings model); the tool gets our environment with a PATH that also
// finds what a login shell would (~/.local/bin, Homebrew, /usr/local/bin), because the tool is a script
// whose interpreter must be found. A tool that cannot be started at all is reported as stopping with code
// 127 and the reason as its error output.
#pragma once

#include "Platform/ProcessRunner.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace UI {

struct ClaudeCLIResult {
    int exitStatus = 0;
    bool timedOut = false;
    std::string output;
    std::string errorOutput;

    bool succeeded() const { return exitStatus == 0 && !timedOut; }
    /// "Claude Code didn't answer in time.", or "Claude Code stopped with code N" followed by the first line
    /// of the trimmed error output (standard output when the error output is empty), at most 300 characters.
    std::string failureSummary() const;
    friend bool operator==(const ClaudeCLIResult&, const ClaudeCLIResult&) = default;
};

class ClaudeCLIRunner {
public:
    static constexpr Support::Duration timeout = std::chrono::seconds(30);

    /// `home` is the user's home folder; `baseEnvironment` the environment to start from (the process's own
    /// when `environmentFromProcess()` is passed).
    ClaudeCLIRunner(std::shared_ptr<Platform::ProcessRunner> runner, std::filesystem::path home,
                    std::map<std::string, std::string> baseEnvironment);
    virtual ~ClaudeCLIRunner() = default;

    virtual Support::Task<ClaudeCLIResult>
    run(std::filesystem::path executable, std::vector<std::string> arguments, Support::Duration timeLimit);

    /// `base` with PATH replaced by ~/.local/bin, /opt/homebrew/bin, /usr/local/bin and then base's PATH
    /// (or /usr/bin:/bin:/usr/sbin:/sbin when it has none).
    static std::map<std::string, std::string> environment(const std::filesystem::path& home,
                                                          std::map<std::string, std::string> base);
    static std::map<std::string, std::string> environmentFromProcess();

private:
    std::shared_ptr<Platform::ProcessRunner> runner_;
    std::filesystem::path home_;
    std::map<std::string, std::string> base_;
};

} // namespace UI

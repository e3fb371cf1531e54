// Launching a command-line tool and collecting what it says: used for the Claude Code tool (connecting it to
// our MCP helper) and for the clipboard tools. The Linux implementation is `PosixProcessRunner`
// (posix_spawn); tests use it directly with small shell commands, or `FakeProcessRunner`.
//
// Contract: `runBlocking` runs the program to its end on the calling thread and returns its exit status and
// output; it never throws for what the program does (a non-zero status, a signal, a time-out are results).
// It throws std::system_error when the program cannot be started at all (missing, not executable). On a
// time-out the program and the process group it leads are killed and `timedOut` is set.
#pragma once

#include "Support/BlockingWork.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

struct ProcessRequest {
    /// An absolute path (no PATH search).
    std::string executable;
    std::vector<std::string> arguments;
    /// The whole environment of the child; nothing: the parent's.
    std::optional<std::map<std::string, std::string>> environment;
    /// Written to the child's standard input, which is then closed.
    std::string standardInput;
    /// Whether standard output and error are collected. Tools that leave a process behind to serve the
    /// clipboard must not be captured (their helper would hold the pipe open): theirs go to /dev/null.
    bool captureOutput = true;
    std::optional<Support::Duration> timeout;
};

struct ProcessResult {
    /// The exit status, or 128 + the signal number for a program killed by a signal.
    int exitStatus = 0;
    bool timedOut = false;
    std::string standardOutput;
    std::string standardError;

    bool succeeded() const { return exitStatus == 0 && !timedOut; }
};

class ProcessRunner {
public:
    virtual ~ProcessRunner() = default;
    virtual ProcessResult runBlocking(const ProcessRequest& request) = 0;

    /// `runBlocking` on the blocking-work pool; the runner must outlive the task.
    Support::Task<ProcessResult> run(ProcessRequest request) {
        // Only pointers in the lambda: g++ 12 may destroy a co_await expression's temporaries twice.
        co_return co_await Support::BlockingWork::run([this, r = &request] { return runBlocking(*r); });
    }
};

} // namespace Platform

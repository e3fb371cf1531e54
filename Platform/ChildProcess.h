// A long-lived child process watched from the main loop: the recording tools and `pactl subscribe` run as
// one for as long as the host needs them. The child leads its own process group (a signal reaches whatever
// it started), its standard input is /dev/null, and its standard output and error go to a pipe the caller
// reads on the loop, to a log file, or to /dev/null. Its end is seen through a pidfd watched on the main
// loop, so nobody blocks or polls while waiting for it.
//
// Used by `PulseMicrophoneMonitor`, the recorders in AudioEngine and the screen captures, which also share
// `endsWithin` (does the tool stop within a time limit, on a scheduler), `interruptWithin` (SIGINT, then
// SIGKILL after a time limit) and `lastLogLine` (the message worth showing from a tool's log file). Edge
// cases: a program that cannot be started throws std::system_error (nothing is left running); destroying a
// running ChildProcess kills its group with SIGKILL and reaps it; `onExit` observers registered after the end
// are called on the next turn. Needs Linux 5.3 or later (pidfd_open).
#pragma once

#include "Support/FileDescriptor.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Platform {

class ChildProcess {
public:
    enum class Output { discard, pipe, file };

    struct Options {
        /// An absolute path (no PATH search).
        std::string executable;
        std::vector<std::string> arguments;
        Output output = Output::discard;
        /// For `Output::file`: standard output and error are appended to it (created when missing).
        std::filesystem::path outputFile;
        /// Descriptors the child keeps under the same numbers (a PipeWire socket handed to a tool).
        std::vector<int> inheritedDescriptors = {};
        /// Sent to the program when this process ends without ending it first (a crash, a kill), so that a
        /// recorder never goes on alone; 0: it outlives this process. Through util-linux's `setpriv`, run in
        /// its place (same process id); without `setpriv` the program starts without it.
        int parentDeathSignal = 0;
    };

    /// Starts the program; throws std::system_error when it cannot be started.
    explicit ChildProcess(const Options& options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    int pid() const { return pid_; }
    /// The non-blocking read end of the output pipe (`Output::pipe`), else -1. Owned by this object.
    int outputDescriptor() const { return output_.get(); }

    /// Sends `signal` to the child's process group (nothing once it has ended).
    void signal(int signal);
    bool hasExited() const { return exitStatus_.has_value(); }
    /// The exit status, or 128 + the signal number for a child killed by a signal; nothing while it runs.
    std::optional<int> exitStatus() const { return exitStatus_; }
    /// Calls `observer` once on the main loop when the child ends, with its exit status.
    [[nodiscard]] Support::Subscription onExit(std::function<void(int)> observer);
    /// For tasks: resumes with the exit status when the child ends (at once when it has).
    Support::Task<int> waitForExit();

private:
    void reap();

    int pid_ = -1;
    Support::FileDescriptor pidfd_;
    Support::FileDescriptor output_;
    std::optional<int> exitStatus_;
    Support::Subscription exitWatch_;
    Support::Signal<int> exited_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

/// Whether `child` ends within `limit` of `scheduler`'s time: true at its end (at once when it already has),
/// false when the limit passes first. Cancelling the awaiting task drops both watches.
Support::Task<bool> endsWithin(ChildProcess& child, Support::Scheduler& scheduler, Support::Duration limit);

/// The last non-empty line of a tool's log file (empty when there is none or it cannot be read). A line
/// rewritten in place with carriage returns counts as its last part; parts that start with
/// `skippedPrefix` (progress lines) are passed over.
/// Asks `child` to finish with SIGINT (a recorder then closes its file) and gives it `limit`; kills it
/// with SIGKILL when it has not ended by then. True when it ended on its own, false when it was killed.
Support::Task<bool> interruptWithin(ChildProcess& child, Support::Scheduler& scheduler,
                                    Support::Duration limit);

std::string lastLogLine(const std::filesystem::path& logFile, std::string_view skippedPrefix = {});

} // namespace Platform

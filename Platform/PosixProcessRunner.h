// `Platform::ProcessRunner` on POSIX: posix_spawn with pipes for standard input, output and error, the child
// leading its own process group (so a time-out also stops what it started), and a poll loop that feeds the
// input, drains both outputs and enforces the time-out on the monotonic clock.
#pragma once

#include "Platform/ProcessRunner.h"

namespace Platform {

class PosixProcessRunner : public ProcessRunner {
public:
    ProcessResult runBlocking(const ProcessRequest& request) override;
};

} // namespace Platform

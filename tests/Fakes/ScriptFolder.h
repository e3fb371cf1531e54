// A temporary folder (TempFolder) holding small shell scripts that stand in for command-line tools (pactl,
// pw-record), and a bounded wait that turns the main loop until a condition holds: tests of code that runs
// real child processes use it instead of sleeping (with a virtual clock that follows real time for tools
// that run in real time).
#pragma once

#include "Fakes/TempFolder.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/stat.h>

namespace Fakes {

struct ScriptFolder : TempFolder {
    /// Writes an executable `name` running `body` under /bin/sh; gives its path.
    std::filesystem::path script(const std::string& name, const std::string& body) const {
        auto file = path / name;
        write(name, "#!/bin/sh\n" + body);
        ::chmod(file.c_str(), 0755);
        return file;
    }
};

/// Turns `loop` until `done()` holds or ten seconds have passed; gives whether it holds.
template <typename Condition> bool runUntil(Support::MainLoop& loop, Condition done) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        loop.runOne(20);
    }
    return true;
}

/// Turns `loop` with `scheduler`'s virtual clock following real time, until `done()` holds or `limit` of
/// real time has passed; gives whether it holds. For tools that run in real time (ffmpeg, GStreamer), which
/// the virtual clock must never give up on early.
template <typename Condition>
bool runFollowingRealTime(Support::MainLoop& loop, Support::VirtualScheduler& scheduler, Condition done,
                          std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto giveUp = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        loop.runOne(20);
        scheduler.advance(std::chrono::milliseconds(20));
    }
    return true;
}

} // namespace Fakes

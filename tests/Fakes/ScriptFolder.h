// A temporary folder (TempFolder) holding small shell scripts that stand in for command-line tools (pactl,
// pw-record), and a bounded wait that turns the main loop until a condition holds: tests of code that runs
// real child processes use it instead of sleeping.
#pragma once

#include "Fakes/TempFolder.h"
#include "Support/MainLoop.h"

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

} // namespace Fakes

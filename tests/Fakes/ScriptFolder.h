// A temporary folder holding small shell scripts that stand in for command-line tools (pactl, pw-record),
// and a bounded wait that turns the main loop until a condition holds: tests of code that runs real child
// processes use it instead of sleeping.
#pragma once

#include "Support/MainLoop.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <sys/stat.h>

namespace Fakes {

struct ScriptFolder {
    std::filesystem::path path;

    ScriptFolder() {
        std::random_device random;
        path = std::filesystem::temp_directory_path() / ("vellmora-scripts-" + std::to_string(random()));
        std::filesystem::create_directories(path);
    }
    ~ScriptFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    /// Writes an executable `name` running `body` under /bin/sh; gives its path.
    std::filesystem::path script(const std::string& name, const std::string& body) const {
        auto file = path / name;
        write(name, "#!/bin/sh\n" + body);
        ::chmod(file.c_str(), 0755);
        return file;
    }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(path / name, std::ios::binary) << text;
    }
    std::string read(const std::string& name) const {
        std::ifstream in(path / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
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

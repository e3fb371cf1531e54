// Shared pieces of the video and slides tests: temporary folders, files of a given size, recordings in an
// in-memory store, and a way to let blocking work finish (it runs on the pool, in real time) while the
// scheduler's clock stands still.
#pragma once

#include "Database/Sqlite/SqliteDatabase.h"
#include "Fakes/TempFolder.h"
#include "Support/MainLoop.h"
#include "Support/Task.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

namespace VideoTest {

inline void writeFile(const std::filesystem::path& path, std::size_t bytes, char fill = 'v') {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << std::string(bytes, fill);
}

inline void writeText(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << text;
}

/// Runs the loop until `done()` holds; fails the test after 10 s of real time (blocking work that hangs).
inline bool runUntil(Support::MainLoop& loop, const std::function<bool()>& done) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "timed out waiting for the loop";
            return false;
        }
        loop.runOne(20);
    }
    loop.runUntilIdle();
    return true;
}

template <typename T> T await(Support::MainLoop& loop, const Support::Task<T>& task) {
    runUntil(loop, [&] { return task.isDone(); });
    return task.get();
}

/// A recording started `daysAgo` days before `now`, with its audio file in `folder`.
inline Database::DatabaseManager::Recording recording(const std::string& name, Support::Date now,
                                                      double daysAgo, const std::filesystem::path& folder) {
    Database::DatabaseManager::Recording r;
    r.title = name;
    r.startDate = now - Support::seconds(daysAgo * 86400);
    r.duration = 1800;
    r.fileURL = folder / (name + ".m4a");
    return r;
}

} // namespace VideoTest

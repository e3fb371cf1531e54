// Helpers shared by the library and transcript view-model tests: a real in-memory store filled with
// recordings, and a way to let tasks and blocking work run to their end.
#pragma once

#include "Database/Sqlite/SqliteDatabase.h"
#include "Fakes/TempFolder.h"
#include "Support/BlockingWork.h"
#include "Support/MainLoop.h"

#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace LibraryTest {

using Recording = Database::DatabaseManager::Recording;
using Segment = Database::DatabaseManager::TranscriptSegment;

/// Runs the loop and the blocking pool until neither has anything left to do.
inline void settle(Support::MainLoop& loop) {
    for (int round = 0; round < 10000; ++round) {
        Support::BlockingWork::drain();
        if (loop.runUntilIdle() == 0) {
            Support::BlockingWork::drain();
            if (loop.runUntilIdle() == 0) {
                return;
            }
        }
    }
}

inline Recording recording(std::string title, double startUnix, double duration = 60) {
    Recording r;
    r.title = std::move(title);
    r.startDate = Support::dateFromUnix(startUnix);
    r.duration = duration;
    return r;
}

inline Segment segment(double start, std::string text, std::string speaker = "") {
    Segment s;
    s.startTime = start;
    s.text = std::move(text);
    s.speaker = std::move(speaker);
    return s;
}

} // namespace LibraryTest

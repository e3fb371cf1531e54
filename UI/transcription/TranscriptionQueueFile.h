// The persisted transcription queue: `transcription-queue.json` in the state folder, so that recordings
// waiting for (or in the middle of) transcription are picked up again after a quit, a crash or a reboot.
// Shared by the running program and `vellmora library transcribe`/`transcription status`, which is why
// every change re-reads the file and writes it whole, atomically, and why the one who transcribes holds an
// exclusive lock on `transcription-queue.lock` beside it (an flock, released when the holder exits or
// crashes), so that no recording is transcribed twice at once.
//
// Format: {"queue": [{"id": 12, "force": false}], "problem": "sentence"}; a damaged file reads as an empty
// queue (and is replaced on the next change) rather than stopping transcription, and is logged.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/FileDescriptor.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace UI {

class TranscriptionQueueFile {
public:
    struct Entry {
        Database::RecordingId id = 0;
        /// Transcribe again even when the recording already has a transcript.
        bool force = false;
        bool operator==(const Entry&) const = default;
    };
    struct Contents {
        std::vector<Entry> queue;
        /// Why the queue is waiting (no engine, no key, server away), when it is.
        std::optional<std::string> problem;
        bool operator==(const Contents&) const = default;
    };

    /// Held while transcribing; dropping it releases the lock.
    class Lock {
    public:
        explicit Lock(Support::FileDescriptor fd) : fd_(std::move(fd)) {}
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        Support::FileDescriptor fd_; // closing it releases the lock
    };

    /// `transcription-queue.json` in the state folder.
    static std::filesystem::path defaultPath();

    explicit TranscriptionQueueFile(std::filesystem::path path = defaultPath()) : path_(std::move(path)) {}

    Contents load() const;
    /// Throws std::system_error when the state folder cannot be written.
    void save(const Contents& contents) const;

    /// Adds the recording at the end (or, already queued, sets its force flag when `force`).
    Contents add(Database::RecordingId id, bool force) const;
    Contents remove(Database::RecordingId id) const;
    Contents setProblem(const std::optional<std::string>& problem) const;

    /// The transcribing lock, or nothing when another process holds it.
    std::unique_ptr<Lock> tryLock() const;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace UI

// The host's transcription: the persisted `UI::TranscriptionQueue` with the engine the settings name (read
// again for each recording, so `vellmora transcription configure` applies without a restart; the demo uses
// the simulated engine unless another is set). Created at launch, which resumes an interrupted queue; a
// saved recording is handed over by id; each stored transcript is said ("Transcribed #12: 240 segments").
// The queue file is watched while the service runs: a recording another program queued (`vellmora library
// import` in a terminal) is taken up at once, not at the next start. Only entries it did not know start the
// queue, so its own writes (a recording done, a problem noted) never wake it again. Main loop only.
#pragma once

#include "Database/DatabaseManager.h"
#include "Platform/HttpClient.h"
#include "Platform/Linux/DirectoryWatcher.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"
#include "UI/transcription/TranscriptionQueue.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace App {

class TranscriptionService {
public:
    struct Dependencies {
        Database::DatabaseManager& database;
        Support::NotificationCenter& center;
        Support::Scheduler& scheduler;
        Support::UserDefaults& defaults;
        Platform::HttpClient& http;
        std::string searchPath;
        bool demo = false;
        std::function<void(const std::string&)> say;
        UI::TranscriptionQueueFile file = UI::TranscriptionQueueFile();
    };

    explicit TranscriptionService(Dependencies dependencies);
    ~TranscriptionService();

    /// Resumes what the queue file holds.
    void start();
    /// A recording was saved (or recovered, or imported): queue it.
    void recordingSaved(Database::RecordingId id);
    /// Cancels the running transcription; it stays queued for the next start.
    void stop();

    UI::TranscriptionQueue& queue() { return *queue_; }

private:
    void queueFileChanged();

    Dependencies deps_;
    std::unique_ptr<UI::TranscriptionQueue> queue_;
    Support::Subscription transcribed_;
    std::unique_ptr<Platform::DirectoryWatcher> watcher_;
    std::vector<UI::TranscriptionQueueFile::Entry> known_;
};

} // namespace App

// The host's background work, created at launch and kept until quit: the AI jobs on the host's AI engine
// (when a transcript lands the new recording's summary, action items and title start by themselves, but
// only when a provider is configured, so an unconfigured install never sends anything), slides from a
// saved recording's screen video (read once the transcription queue is done with the recording, so that
// they never compete with its transcription; also when transcription is off or failed), the daily
// screen-video expiry sweep (also after the computer wakes), and the update check (never in the demo, which
// reaches no network). The menu's update entries are wired here. Main loop only.
#pragma once

#include "Platform/HttpClient.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "UI/video/SlidesExtractionService.h"

#include <functional>
#include <memory>
#include <string>

namespace Database {
class DatabaseManager;
}
namespace Platform {
class PowerEvents;
}
namespace Intelligence {
class AIService;
}
namespace Support {
class NotificationCenter;
class UserDefaults;
} // namespace Support
namespace UI {
class AIGenerationJobs;
class MenuBarController;
} // namespace UI

namespace App {

class BackgroundServices {
public:
    struct Dependencies {
        Support::Scheduler& scheduler;
        Support::UserDefaults& defaults;
        Support::NotificationCenter& center;
        /// The host's AI engine, and its register of AI jobs, where a new recording's jobs start.
        Intelligence::AIService& ai;
        UI::AIGenerationJobs& aiJobs;
        /// The host's HTTP client (AI providers, the update check).
        Platform::HttpClient& http;
        /// Null when the library could not be opened: then only the update check runs.
        Database::DatabaseManager* database = nullptr;
        Platform::PowerEvents* power = nullptr;
        bool checksForUpdates = true;
        std::string installedVersion;
        std::function<void(const std::string&)> say;
        /// The slides reader's operations; empty members are the live ones (tests replace the job).
        UI::SlidesExtractionService::Operations slides = {};
    };

    explicit BackgroundServices(Dependencies dependencies);
    ~BackgroundServices();
    BackgroundServices(const BackgroundServices&) = delete;
    BackgroundServices& operator=(const BackgroundServices&) = delete;

    /// Shows the update offer in `menu` and answers its update entries.
    void attachMenu(UI::MenuBarController& menu);
    /// "Check for Updates...": checks now and says the result.
    void checkForUpdatesNow();
    /// The transcription queue is done with a recording for now (`UI::TranscriptionQueue::settled`): one
    /// with a screen video gets its slides read, once per run of the host; one without is left alone.
    void transcriptionSettled(std::int64_t recordingId);
    /// Stops timers and cancels work that must not outlive the host.
    void stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace App

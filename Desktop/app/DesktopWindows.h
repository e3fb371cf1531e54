// The desktop windows as the host sees them: created only when a display is there, it owns Qt's
// application object, runs Qt's loop inside the main loop (QtLoopBridge), and opens the windows on demand:
// the library (with its view model and search engine, made on first use) and the meeting card. Closing a
// window never quits: the host keeps running in the tray and the terminal. Also writes screenshots of every
// window for people to look at (`vellmora screenshots`).
//
// Main thread only; destroy it before the objects in `Services`.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Platform/Clipboard.h"
#include "Platform/HttpClient.h"
#include "Platform/ProcessRunner.h"
#include "Support/MainLoop.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/calendar/CalendarInfo.h"
#include "UI/calendar/MeetingReminderPresenter.h"
#include "UI/library/DateContext.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Desktop {

class LibraryWindow;
class MeetingCardWindow;
class SettingsWindow;

class DesktopWindows {
public:
    struct Services {
        Support::MainLoop& loop;
        Database::DatabaseManager& database;
        Support::Scheduler& scheduler;
        Support::NotificationCenter& center;
        Support::UserDefaults& defaults;
        UI::DateContext dateContext;
        /// The AI jobs the library shows and restarts (the host's, which its background services start).
        UI::AIGenerationJobs& aiJobs;
        /// The host's AI engine; without one (screenshots, tests) there is no chat and no regeneration.
        Intelligence::AIService* ai = nullptr;
    };

    /// Whether Qt can start: QT_QPA_PLATFORM is set, or the X display ($DISPLAY) answers.
    static bool hasDisplay();
    /// The windows, or nothing (and one line said) when there is no display or Qt cannot start.
    static std::unique_ptr<DesktopWindows> connect(Services services,
                                                   const std::function<void(const std::string&)>& say);
    ~DesktopWindows();
    DesktopWindows(const DesktopWindows&) = delete;
    DesktopWindows& operator=(const DesktopWindows&) = delete;

    /// How long a closed library window is kept for a quick return; then it, its view model and its search
    /// engine are let go and the freed memory handed back to the system, so that the host returns to its
    /// idle size.
    static constexpr Support::Duration libraryReleaseDelay = std::chrono::seconds(30);

    /// Shows (creating on first use) and raises the library window.
    void openLibrary();
    /// Whether the library window (and its models) exist now.
    bool hasLibrary() const;
    /// The library at a recording, at `transcriptTime` in its transcript when given.
    void openRecording(Database::RecordingId id, std::optional<double> transcriptTime = std::nullopt);
    /// Shows (creating on first use) the chat window over the host's AI engine; false without one (nothing
    /// is shown then).
    bool openChat();
    /// What the settings window needs from the rest of the host; set before it is first opened (empty
    /// parts: the page says the part is not there).
    struct SettingsSources {
        /// The calendars the reminders read.
        std::function<std::vector<UI::CalendarInfo>()> calendars;
        std::function<void()> checkForUpdates;
        std::string version;
        /// The AI key tests and the speech model downloads.
        std::shared_ptr<Platform::HttpClient> http;
        /// The Claude Code tool of the AI apps page.
        std::shared_ptr<Platform::ProcessRunner> processes;
        /// "Copy Setup" on the AI apps page.
        std::shared_ptr<Platform::Clipboard> clipboard;
    };
    void setSettingsSources(SettingsSources sources);
    /// Shows (creating on first use) and raises the settings window, at the page last shown. Nothing is shown
    /// before `setSettingsSources` gave an HTTP client and a process runner.
    void openSettings();
    /// The settings window at the first page that needs the user ("Set Up Vellmora...").
    void openSetup();

    /// The meeting card, replacing one on screen; `close` withdraws it without a report.
    void showCard(const UI::MeetingReminderCard& card,
                  UI::MeetingReminderPresenter::CardActionHandler onAction);
    void closeCard();

    LibraryWindow* library() const;
    MeetingCardWindow* card() const;
    SettingsWindow* settings() const;

    /// Renders every window (library list, recording summary, transcript, chat, meeting card, and the
    /// settings pages when `setSettingsSources` gave their HTTP client and process runner) into PNG files in
    /// `folder` at the current scale (QT_SCALE_FACTOR), named with `suffix`; returns the files written.
    std::vector<std::filesystem::path> writeScreenshots(const std::filesystem::path& folder,
                                                        const std::string& suffix,
                                                        const UI::MeetingReminderCard& card);

private:
    explicit DesktopWindows(Services services);
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace Desktop

// The desktop windows as the host composes them: the library, chat and settings windows behind the menu's
// entries, and the meeting card as a window beside the terminal's. `vellmora` itself is built without the
// desktop toolkit (so that the host without a display, and every command, stay small and quick); the
// windows are compiled into `vellmora-windows` only, whose `DesktopWindowsShell` registers itself here.
// `connect` therefore gives nothing in `vellmora`, with `--terminal-only`, without a library, or when Qt
// cannot start; the host then runs with the terminal and the tray alone.
//
// Two steps, because the reminders need the card presenter before the menu exists: `connect` (the card),
// then `attach` (the menu's window entries, the settings window's sources). Main loop only; destroy it
// before the objects in `Dependencies`.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Platform/HttpClient.h"
#include "Support/MainLoop.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"
#include "UI/ai/AIGenerationJobs.h"
#include "UI/calendar/CalendarInfo.h"
#include "UI/calendar/MeetingReminderPresenter.h"
#include "UI/library/DateContext.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace App {

class HostMenu;

class WindowsShell {
public:
    struct Dependencies {
        Support::MainLoop& loop;
        Database::DatabaseManager& database;
        Support::Scheduler& scheduler;
        Support::NotificationCenter& center;
        Support::UserDefaults& defaults;
        /// The host's AI engine (the chat, the settings' provider test) and its jobs, which the library shows
        /// and restarts.
        Intelligence::AIService& ai;
        UI::AIGenerationJobs& aiJobs;
        UI::DateContext dateContext;
        /// The terminal's presenter: banners stay there, the card is shown there and as a window.
        UI::MeetingReminderPresenter& terminal;
        std::function<void(const std::string&)> say;
    };
    struct MenuSources {
        HostMenu& menu;
        /// The calendars the reminders read, for the settings window.
        std::function<std::vector<UI::CalendarInfo>()> calendars;
        /// The host's HTTP client (key tests, model downloads); it outlives the windows.
        Platform::HttpClient& http;
        /// The demo opens the library at once.
        bool demo = false;
    };
    using Factory = std::unique_ptr<WindowsShell> (*)(Dependencies);

    virtual ~WindowsShell() = default;

    /// Whether this program has the windows built in.
    static bool isBuiltIn();
    /// The windows, or nothing (not built in, no display, Qt cannot start: then one line is said).
    static std::unique_ptr<WindowsShell> connect(Dependencies dependencies);

    /// Where reminders show their banners and card.
    virtual UI::MeetingReminderPresenter& cardPresenter() = 0;
    /// Puts the windows behind the menu's entries and the settings requests.
    virtual void attach(MenuSources sources) = 0;

    /// Made once, by the program that has the windows (a static object in its own source file).
    struct Registration {
        explicit Registration(Factory factory);
    };
};

} // namespace App

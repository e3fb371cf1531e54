// What the menu and the terminal's keys do in the host: start and stop recording (through the recording
// controller), join a meeting (as a "Join & Record" or "Join" answer to its reminder), join and record the
// next meeting, print the menu, list the library, check for updates and quit. Entries a terminal cannot
// show (markers, chat) say where to go instead. The library is read on the blocking-work pool, never on the
// main loop; `stop` cancels a listing still under way. Main loop only.
#pragma once

#include "UI/recording/MenuBarController.h"

#include "Support/Task.h"

#include <functional>
#include <list>
#include <string>

namespace Database {
class DatabaseManager;
}
namespace Support {
class Scheduler;
}
namespace UI {
class CalendarReminderCoordinator;
}

namespace App {

class BackgroundServices;
class RecordingController;
class TerminalStatusItem;

class HostMenuDelegate final : public UI::MenuBarControllerDelegate {
public:
    struct Dependencies {
        RecordingController& controller;
        UI::CalendarReminderCoordinator& reminders;
        UI::MenuBarController& menu;
        TerminalStatusItem& statusItem;
        Support::Scheduler& scheduler;
        /// Null when the library could not be opened.
        Database::DatabaseManager* database = nullptr;
        BackgroundServices& services;
        std::function<void()> quit;
        std::function<void(const std::string&)> say;
    };

    /// What the desktop windows do instead of the terminal, when they are there (empty: the terminal's way).
    struct WindowActions {
        std::function<void()> openLibrary;
        std::function<void()> openChat;
    };

    explicit HostMenuDelegate(Dependencies dependencies);
    ~HostMenuDelegate() override;

    // The terminal's keys.
    void showMenu();
    void joinNext();
    void showLibrary();
    /// Cancels a library listing still under way.
    void stop();

    // The menu's entries.
    void startRecording() override;
    void stopRecording() override;
    void insertMarker() override;
    void setWindowActions(WindowActions actions) { windows_ = std::move(actions); }

    void openLibrary() override { windows_.openLibrary ? windows_.openLibrary() : showLibrary(); }
    void openActionItems() override { openLibrary(); }
    void toggleAIChat() override;
    void joinMeeting(const UI::CalendarMeeting& meeting, bool record) override;
    void checkForUpdates() override;
    void restartToFinishUpdating() override {}
    void showWhatsNew() override {}
    void quit() override { deps_.quit(); }

private:
    Support::Task<> listLibrary();

    Dependencies deps_;
    WindowActions windows_;
    std::list<Support::Task<>> listings_;
};

} // namespace App

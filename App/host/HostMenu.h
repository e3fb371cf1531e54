// The host's menu: the tray's model (`UI::MenuBarController` over a `TerminalStatusItem`), mirrored to a
// tray icon when there is a desktop session and printed in the terminal on request; the delegate that
// carries out its entries and the terminal's keys (`HostMenuDelegate`); and the global hot keys (notes,
// live recap). It follows the recording phase and the reminders' Up Next, and shows the update offer; the
// start and stop requests posted from the menu and the terminal reach the recording controller through it.
// `stop` cancels the delegate's work. Main loop only.
#pragma once

#include "App/host/DesktopShell.h"
#include "App/host/HostMenuDelegate.h"
#include "App/host/TerminalPresenter.h"
#include "App/host/TerminalStatusItem.h"
#include "Support/Signal.h"
#include "UI/recording/MenuBarController.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Database {
class DatabaseManager;
}
namespace Support {
class NotificationCenter;
class Scheduler;
class UserDefaults;
} // namespace Support
namespace UI {
class CalendarReminderCoordinator;
class RecordingState;
} // namespace UI

namespace App {

class BackgroundServices;
class CallRecorder;
class LinuxServices;
class RecordingController;
struct HostEnvironment;

class HostMenu {
public:
    struct Dependencies {
        Support::Scheduler& scheduler;
        Support::NotificationCenter& center;
        Support::UserDefaults& defaults;
        const HostEnvironment& environment;
        LinuxServices& platform;
        UI::RecordingState& state;
        RecordingController& controller;
        UI::CalendarReminderCoordinator& reminders;
        CallRecorder& calls;
        /// Null when the library could not be opened.
        Database::DatabaseManager* database = nullptr;
        BackgroundServices& services;
        std::function<void()> quit;
        std::function<void(const std::string&)> say;
    };

    explicit HostMenu(Dependencies dependencies);
    ~HostMenu();
    HostMenu(const HostMenu&) = delete;
    HostMenu& operator=(const HostMenu&) = delete;

    /// The menu entries' and the terminal keys' actions.
    HostMenuDelegate& actions() { return *delegate_; }
    /// Up Next follows the reminders from now on.
    void start();
    void stop();
    /// The terminal's keys: record or stop (not while quitting), quit, the menu, join the next meeting, the
    /// library listing.
    TerminalPresenter::Actions terminalActions(std::function<bool()> isQuitting);
    /// A problem with the running recording, shown under Stop (nothing: none).
    void setCaptureWarning(std::optional<std::string> warning);

private:
    UI::RecordingState& state_;
    Support::NotificationCenter& center_;
    TerminalStatusItem statusItem_;
    UI::MenuBarController menu_;
    std::shared_ptr<HostMenuDelegate> delegate_;
    std::unique_ptr<DesktopShell> desktop_;
    Support::SubscriptionBag subscriptions_;
};

} // namespace App

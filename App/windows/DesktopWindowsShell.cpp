// The windows of `vellmora-windows`: the desktop windows (Qt) behind the host's menu and as its meeting
// card. Registered with `WindowsShell` by the static object at the end, which exists only in the windowed
// program.
#include "App/host/HostMenu.h"
#include "App/host/WindowsShell.h"
#include "Desktop/app/DesktopWindows.h"
#include "Desktop/calendar/WindowCardPresenter.h"
#include "Platform/Linux/CommandLineClipboard.h"
#include "Platform/PosixProcessRunner.h"
#include "UI/recording/MenuBarController.h"

namespace App {

namespace {

class DesktopWindowsShell final : public WindowsShell {
public:
    static std::unique_ptr<WindowsShell> connect(Dependencies dependencies) {
        auto windows = Desktop::DesktopWindows::connect(
            {dependencies.loop, dependencies.database, dependencies.scheduler, dependencies.center,
             dependencies.defaults, dependencies.dateContext, dependencies.aiJobs, &dependencies.ai},
            dependencies.say);
        if (!windows) {
            return nullptr;
        }
        return std::unique_ptr<WindowsShell>(new DesktopWindowsShell(std::move(windows), dependencies));
    }

    UI::MeetingReminderPresenter& cardPresenter() override { return card_; }

    void attach(MenuSources sources) override {
        auto& menu = sources.menu;
        menu.actions().setWindowActions({.openLibrary = [this] { windows_->openLibrary(); },
                                         .openChat =
                                             [this] {
                                                 if (!windows_->openChat()) {
                                                     say_("AI Chat needs an AI provider: see `vellmora ai "
                                                          "--help`.");
                                                 }
                                             }});
        auto processes = std::make_shared<Platform::PosixProcessRunner>();
        windows_->setSettingsSources(
            {.calendars = std::move(sources.calendars),
             .checkForUpdates = [&menu] { menu.actions().checkForUpdates(); },
             .version = VELLMORA_VERSION,
             // A handle that owns nothing: the host's client outlives the windows.
             .http = std::shared_ptr<Platform::HttpClient>(std::shared_ptr<void>(), &sources.http),
             .processes = processes,
             .clipboard = std::make_shared<Platform::CommandLineClipboard>(processes)});
        // "Settings" and "Set Up Vellmora..." post their window requests; the settings window answers both.
        subscriptions_ += center_.observe(UI::MenuBarController::openSettingsWindowNotification,
                                          [this](const auto&) { windows_->openSettings(); });
        subscriptions_ += center_.observe(UI::MenuBarController::openSetupWindowNotification,
                                          [this](const auto&) { windows_->openSetup(); });
        if (sources.demo) {
            windows_->openLibrary();
        }
    }

private:
    DesktopWindowsShell(std::unique_ptr<Desktop::DesktopWindows> windows, const Dependencies& dependencies)
        : windows_(std::move(windows)), card_(dependencies.terminal, *windows_), center_(dependencies.center),
          say_(dependencies.say) {}

    std::unique_ptr<Desktop::DesktopWindows> windows_;
    Desktop::WindowCardPresenter card_;
    Support::NotificationCenter& center_;
    std::function<void(const std::string&)> say_;
    Support::SubscriptionBag subscriptions_;
};

const WindowsShell::Registration registration{&DesktopWindowsShell::connect};

} // namespace

} // namespace App

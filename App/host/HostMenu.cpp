#include "App/host/HostMenu.h"

#include "App/host/BackgroundServices.h"
#include "App/host/CallRecorder.h"
#include "App/host/HostEnvironment.h"
#include "App/host/HotKeyText.h"
#include "App/host/LinuxServices.h"
#include "App/host/RecordingController.h"
#include "UI/calendar/CalendarReminderCoordinator.h"
#include "UI/recording/RecordingControlPresentation.h"
#include "UI/recording/RecordingNotifications.h"
#include "UI/recording/RecordingState.h"

namespace App {

HostMenu::HostMenu(Dependencies deps)
    : state_(deps.state), center_(deps.center),
      menu_({.statusItem = statusItem_,
             .scheduler = deps.scheduler,
             .center = deps.center,
             .defaults = deps.defaults,
             .timeZoneID = deps.environment.timeZoneID,
             .localeID = deps.environment.localeID,
             .footerText = std::string("Vellmora ") + VELLMORA_VERSION}),
      delegate_(
          std::make_shared<HostMenuDelegate>(HostMenuDelegate::Dependencies{.controller = deps.controller,
                                                                            .reminders = deps.reminders,
                                                                            .menu = menu_,
                                                                            .statusItem = statusItem_,
                                                                            .scheduler = deps.scheduler,
                                                                            .database = deps.database,
                                                                            .services = deps.services,
                                                                            .quit = deps.quit,
                                                                            .say = deps.say})) {
    deps.platform.attachTray(statusItem_);
    auto& calls = deps.calls;
    auto& reminders = deps.reminders;
    auto& state = deps.state;
    auto& scheduler = deps.scheduler;
    auto say = deps.say;
    desktop_ = std::make_unique<DesktopShell>(
        deps.platform.hotKeys(), deps.defaults, deps.center,
        DesktopShell::Actions{
            .notes =
                [&calls, &reminders, &scheduler, say] {
                    say(HotKeyText::notes(calls.meeting(), reminders.upcoming.get(), scheduler.now()));
                },
            .liveRecap = [&calls, &state, &scheduler,
                          say] { say(HotKeyText::recap(state.phase(), calls.meeting(), scheduler.now())); }},
        say);
    deps.services.attachMenu(menu_);
    menu_.setDelegate(delegate_);
    menu_.setupMenuBar();
    menu_.setRecordingAvailability(UI::MenuBarController::RecordingAvailability::ready());
    menu_.setPhase(state.phase());
    subscriptions_ +=
        state.phasePublisher().observe([this](const UI::RecordingPhase& phase) { menu_.setPhase(phase); });
    subscriptions_ += reminders.upcoming.observe(
        [this](const std::vector<UI::CalendarMeeting>& meetings) { menu_.setUpcomingMeetings(meetings); });
    // Recording control from anywhere (the menu, the terminal's key) comes through the notification centre.
    auto& controller = deps.controller;
    subscriptions_ +=
        deps.center.observe(UI::RecordingNotifications::startRecordingRequested,
                            [&controller](const Support::Notification&) { controller.requestStart(); });
    subscriptions_ +=
        deps.center.observe(UI::RecordingNotifications::stopRecordingRequested,
                            [&controller](const Support::Notification&) { controller.requestStop(); });
}

TerminalPresenter::Actions HostMenu::terminalActions(std::function<bool()> isQuitting) {
    return {.toggleRecording =
                [this, isQuitting] {
                    if (!isQuitting()) {
                        center_.post(
                            UI::RecordingControlPresentation::forToolbar(state_.phase()).targetNotification);
                    }
                },
            .quit = [this] { delegate_->quit(); },
            .showMenu = [this] { delegate_->showMenu(); },
            .joinNext = [this] { delegate_->joinNext(); },
            .showLibrary = [this] { delegate_->showLibrary(); }};
}

HostMenu::~HostMenu() = default;

void HostMenu::start() {
    menu_.setReminderCoordinatorRunning(true);
}

void HostMenu::stop() {
    delegate_->stop();
}

void HostMenu::setCaptureWarning(std::optional<std::string> warning) {
    menu_.setCaptureWarning(std::move(warning));
}

} // namespace App

// The host's calendar and reminders: the calendar store `LinuxServices` chose (files, and the desktop's
// calendars beside them), the reminder coordinator over it with the notifier and the join intents, the
// answers to reminder notifications routed back to it, and the one-time start-at-login offer that shares
// the notification service. After each planning pass the freed memory of a large calendar's read goes back
// to the system, so that the idle host stays small.
//
// `attachCalls` gives the coordinator what it asks of the calls (activity, "record now", who holds the
// microphone) once the call recorder exists. Main loop only; `stop` before the loop ends.
#pragma once

#include "App/host/AutostartPrompt.h"
#include "App/host/HostEnvironment.h"
#include "UI/calendar/CalendarInfo.h"
#include "UI/calendar/CalendarReminderCoordinator.h"
#include "UI/calendar/CalendarSource.h"
#include "UI/calendar/JoinIntentStore.h"
#include "UI/calendar/MeetingReminderNotifier.h"
#include "UI/recording/SystemUserNotificationClient.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace App {

class CallRecorder;
class LinuxServices;

class HostReminders {
public:
    struct Dependencies {
        Support::Scheduler& scheduler;
        Support::UserDefaults& defaults;
        const HostEnvironment& environment;
        LinuxServices& platform;
        /// The terminal's, or the windows' beside it.
        UI::MeetingReminderPresenter& presenter;
        bool demo = false;
        bool terminalOnly = false;
        std::function<void(const std::string&)> say;
    };

    explicit HostReminders(Dependencies dependencies);
    HostReminders(const HostReminders&) = delete;
    HostReminders& operator=(const HostReminders&) = delete;

    void attachCalls(CallRecorder& calls);
    void start() { coordinator_.start(); }
    void stop() { coordinator_.stop(); }

    UI::CalendarReminderCoordinator& coordinator() { return coordinator_; }
    UI::JoinIntentStore& intents() { return intents_; }
    /// The calendars read now, for the settings window.
    std::vector<UI::CalendarInfo> calendars() const;

private:
    UI::SystemUserNotificationClient notificationClient_;
    UI::MeetingReminderNotifier notifier_;
    AutostartPrompt autostartPrompt_;
    std::unique_ptr<Platform::CalendarStore> store_;
    UI::CalendarSource calendar_;
    UI::JoinIntentStore intents_;
    UI::CalendarReminderCoordinator coordinator_;
    Support::SubscriptionBag subscriptions_;
};

} // namespace App

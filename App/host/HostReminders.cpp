#include "App/host/HostReminders.h"

#include "App/host/CallRecorder.h"
#include "App/host/LinuxServices.h"
#include "UI/calendar/MeetingReminderResponseRouter.h"

#include <malloc.h>

namespace App {

HostReminders::HostReminders(Dependencies d)
    : notificationClient_(d.platform.notifications()), notifier_(notificationClient_),
      autostartPrompt_(AutostartPrompt::live(d.platform.notifications(), d.defaults, d.say)),
      store_(d.platform.calendarStore(d.defaults)), calendar_(*store_),
      coordinator_({.calendar = calendar_,
                    .notifier = notifier_,
                    .scheduler = d.scheduler,
                    .defaults = d.defaults,
                    .presenter = d.presenter,
                    .workspace = d.platform.workspace(),
                    .intents = intents_,
                    .activity = d.platform.activity(),
                    .power = &d.platform.power(),
                    .router = &UI::MeetingReminderResponseRouter::shared(),
                    .timeZoneID = d.environment.timeZoneID,
                    .locale = d.environment.localeID}) {
    autostartPrompt_.start(autostartPrompt_.facts(d.demo, d.terminalOnly));
    notificationClient_.setRouteHandler([](const UI::NotificationClickRoute& route) {
        if (route.kind == UI::NotificationClickRoute::Kind::meetingReminder && route.response) {
            UI::MeetingReminderResponseRouter::shared().route(*route.response);
        }
    });
    // A pass that read large calendars leaves freed memory in the worker threads' heaps; give it back.
    subscriptions_ += coordinator_.didPlan.connect([] { ::malloc_trim(0); });
}

void HostReminders::attachCalls(CallRecorder& calls) {
    coordinator_.configure(
        [&calls] {
            return UI::CalendarReminderCoordinator::CallActivity{calls.isRecording(), calls.isHandlingCall()};
        },
        [&calls](const UI::JoinIntent& intent) { calls.recordNow(intent); },
        [this] { return intents_.microphoneHolders(); });
}

std::vector<UI::CalendarInfo> HostReminders::calendars() const {
    std::vector<UI::CalendarInfo> infos;
    for (const auto& descriptor : store_->calendars()) {
        infos.push_back(UI::CalendarSource::info(descriptor));
    }
    return infos;
}

} // namespace App

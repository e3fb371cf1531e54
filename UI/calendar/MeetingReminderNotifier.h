// Posts and removes the system notifications of meeting reminders (heads-ups, busy heads-ups and the
// "not recording yet" nudge), with the per-meeting identifiers of `MeetingReminderNotificationContent`.
// `prepare` registers the app's notification categories and asks for permission. Main loop only.
#pragma once

#include "Support/Task.h"
#include "Support/Time.h"
#include "UI/calendar/MeetingReminderBanner.h"
#include "UI/recording/SystemUserNotificationClient.h"

#include <set>
#include <string>

namespace UI {

class MeetingReminderNotifier {
public:
    explicit MeetingReminderNotifier(SystemUserNotificationClient& client) : client_(client) {}

    Support::Task<bool> prepare();
    Support::Task<void> post(const MeetingReminderBanner& banner, Support::Date now);
    /// Removes shown and pending notifications (reminder and not-recording) of these meetings.
    void remove(const std::set<std::string>& occurrenceKeys);
    /// Whether the desktop shows the reminder buttons.
    bool supportsActions() const { return client_.supportsActions(); }

private:
    SystemUserNotificationClient& client_;
};

} // namespace UI

#include "UI/calendar/MeetingReminderResponseRouter.h"

namespace UI {

MeetingReminderResponseRouter& MeetingReminderResponseRouter::shared() {
    static MeetingReminderResponseRouter router;
    return router;
}

bool MeetingReminderResponseRouter::route(const MeetingReminderResponse& response) const {
    if (!handler) {
        log_.warning("Reminder answer {} for {} arrived before reminders started; ignored",
                     rawValue(response.action), response.occurrenceKey);
        return false;
    }
    handler(response);
    return true;
}

} // namespace UI

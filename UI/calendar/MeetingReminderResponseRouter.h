// Hands reminder answers that arrive through system notifications (or the `vellmora reminders answer`
// command, through the host) to the reminder coordinator, which sets itself as the handler when it
// starts. An answer that arrives while no handler is set is logged and dropped.
#pragma once

#include "Support/Log.h"
#include "UI/calendar/MeetingReminderResponse.h"

#include <functional>

namespace UI {

class MeetingReminderResponseRouter {
public:
    using Handler = std::function<void(const MeetingReminderResponse&)>;

    static MeetingReminderResponseRouter& shared();

    Handler handler;

    /// True when a handler took the response.
    bool route(const MeetingReminderResponse& response) const;

private:
    Support::Logger log_{"reminderResponses"};
};

} // namespace UI

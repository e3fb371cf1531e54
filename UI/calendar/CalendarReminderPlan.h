// What one planning pass decided: what to present now, which shown reminders to take back, and when to plan
// again at the latest (nothing when no future moment can change the plan).
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarReminderAction.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UI {

struct CalendarReminderPlan {
    std::vector<CalendarReminderAction> actions;
    std::set<std::string> withdrawnKeys;
    std::optional<Support::Date> nextWake;

    bool operator==(const CalendarReminderPlan&) const = default;
};

} // namespace UI

#include "UI/calendar/CalendarReminderStage.h"

namespace UI {

std::string_view rawValue(CalendarReminderStage stage) {
    return stage == CalendarReminderStage::headsUp ? "headsUp" : "overlay";
}

std::optional<CalendarReminderStage> calendarReminderStageFromRaw(std::string_view raw) {
    if (raw == "headsUp") {
        return CalendarReminderStage::headsUp;
    }
    if (raw == "overlay") {
        return CalendarReminderStage::overlay;
    }
    return std::nullopt;
}

} // namespace UI

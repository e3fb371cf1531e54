#include "UI/calendar/CalendarReminderStage.h"

#include "Support/EnumNames.h"

namespace UI {

constexpr Support::EnumName<CalendarReminderStage> stageNames[] = {
    {CalendarReminderStage::headsUp, "headsUp"},
    {CalendarReminderStage::overlay, "overlay"},
};

std::string_view rawValue(CalendarReminderStage stage) {
    return Support::enumName(stageNames, stage);
}

std::optional<CalendarReminderStage> calendarReminderStageFromRaw(std::string_view raw) {
    return Support::enumValue(stageNames, raw);
}

} // namespace UI

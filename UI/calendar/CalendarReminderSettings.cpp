#include "UI/calendar/CalendarReminderSettings.h"

#include <algorithm>

namespace UI {

namespace {

template <std::size_t N>
std::optional<int> readLead(const Support::UserDefaults& defaults, const char* key,
                            const std::array<CalendarReminderSettings::Choice, N>& choices, int fallback) {
    auto stored = defaults.integer(key);
    if (!stored) {
        return fallback;
    }
    bool offered = std::any_of(choices.begin(), choices.end(),
                               [&](const auto& choice) { return choice.minutes == *stored; });
    if (!offered) {
        return fallback;
    }
    if (*stored == CalendarReminderSettings::off) {
        return std::nullopt;
    }
    return static_cast<int>(*stored);
}

} // namespace

CalendarReminderSettings CalendarReminderSettings::load(const Support::UserDefaults& defaults) {
    CalendarReminderSettings settings;
    settings.isEnabled = defaults.boolean(enabledKey).value_or(false);
    settings.headsUpMinutes = readLead(defaults, headsUpMinutesKey, headsUpChoices, defaultHeadsUpMinutes);
    settings.overlayMinutes = readLead(defaults, overlayMinutesKey, overlayChoices, defaultOverlayMinutes);
    if (auto ids = defaults.stringArray(excludedCalendarIDsKey)) {
        settings.excludedCalendarIDs = std::set<std::string>(ids->begin(), ids->end());
    }
    return settings;
}

void CalendarReminderSettings::save(Support::UserDefaults& defaults) const {
    defaults.setBool(enabledKey, isEnabled);
    defaults.setInteger(headsUpMinutesKey, headsUpMinutes.value_or(off));
    defaults.setInteger(overlayMinutesKey, overlayMinutes.value_or(off));
    defaults.set(excludedCalendarIDsKey, Support::DefaultsValue(std::vector<std::string>(
                                             excludedCalendarIDs.begin(), excludedCalendarIDs.end())));
}

bool CalendarReminderSettings::isSettingsKey(std::string_view key) {
    return key == enabledKey || key == headsUpMinutesKey || key == overlayMinutesKey ||
           key == excludedCalendarIDsKey;
}

} // namespace UI

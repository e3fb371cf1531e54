#include "Desktop/settings/CalendarSettingsModel.h"

namespace Desktop {

CalendarSettingsModel::CalendarSettingsModel(Support::UserDefaults& defaults, CalendarSource calendars)
    : defaults_(defaults), calendars_(std::move(calendars)) {
    reload();
}

void CalendarSettingsModel::reload() {
    settings = UI::CalendarReminderSettings::load(defaults_);
    accounts = UI::CalendarAccounts::accounts(calendars_ ? calendars_() : std::vector<UI::CalendarInfo>{});
}

bool CalendarSettingsModel::hasCalendars() const {
    for (const auto& account : accounts.get()) {
        if (!account.calendars.empty()) {
            return true;
        }
    }
    return false;
}

bool CalendarSettingsModel::isExcluded(const std::string& calendarID) const {
    return settings.get().excludedCalendarIDs.count(calendarID) > 0;
}

void CalendarSettingsModel::change(const std::function<void(UI::CalendarReminderSettings&)>& edit) {
    // Read again first: another window or a command may have changed other settings meanwhile.
    auto next = UI::CalendarReminderSettings::load(defaults_);
    edit(next);
    next.save(defaults_);
    settings = UI::CalendarReminderSettings::load(defaults_);
}

void CalendarSettingsModel::setExcluded(const std::string& calendarID, bool excluded) {
    change([&](auto& s) {
        if (excluded) {
            s.excludedCalendarIDs.insert(calendarID);
        } else {
            s.excludedCalendarIDs.erase(calendarID);
        }
    });
}

void CalendarSettingsModel::setRemindersEnabled(bool enabled) {
    change([&](auto& s) { s.isEnabled = enabled; });
}

namespace {
std::optional<int> stage(int minutes) {
    return minutes == UI::CalendarReminderSettings::off ? std::nullopt : std::optional<int>(minutes);
}
} // namespace

void CalendarSettingsModel::setHeadsUpMinutes(int minutes) {
    change([&](auto& s) { s.headsUpMinutes = stage(minutes); });
}

void CalendarSettingsModel::setOverlayMinutes(int minutes) {
    change([&](auto& s) { s.overlayMinutes = stage(minutes); });
}

} // namespace Desktop

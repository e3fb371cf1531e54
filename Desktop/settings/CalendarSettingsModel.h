// The calendars page's model: every calendar Vellmora reads, grouped by its account, with the switch that
// leaves it out of reminders and meetings, and the reminder settings (on or off, the two lead times). Every
// change is written to the user defaults at once (`UI::CalendarReminderSettings`), where the reminder
// coordinator picks it up. Qt-free; main loop only. A calendar that is excluded but no longer read stays
// excluded (it may come back).
#pragma once

#include "Support/Signal.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarAccounts.h"
#include "UI/calendar/CalendarReminderSettings.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Desktop {

class CalendarSettingsModel {
public:
    using CalendarSource = std::function<std::vector<UI::CalendarInfo>()>;

    /// `calendars` may be empty (no calendar store): the page then lists none.
    CalendarSettingsModel(Support::UserDefaults& defaults, CalendarSource calendars);

    Support::Published<std::vector<UI::CalendarAccount>> accounts;
    Support::Published<UI::CalendarReminderSettings> settings;

    /// Reads the calendars and the settings again.
    void reload();
    bool hasCalendars() const;
    bool isExcluded(const std::string& calendarID) const;
    void setExcluded(const std::string& calendarID, bool excluded);
    void setRemindersEnabled(bool enabled);
    /// `UI::CalendarReminderSettings::off` turns that stage off.
    void setHeadsUpMinutes(int minutes);
    void setOverlayMinutes(int minutes);

private:
    void change(const std::function<void(UI::CalendarReminderSettings&)>& edit);

    Support::UserDefaults& defaults_;
    CalendarSource calendars_;
};

} // namespace Desktop

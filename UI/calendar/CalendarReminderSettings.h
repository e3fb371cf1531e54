// The user's reminder settings: on or off, the two lead times (absent = that stage is off) and the
// calendars that never produce reminders. Read from and written to the user defaults; a stored lead time
// that is missing, not an integer or not one of the offered choices reads as the default, and −1 reads as
// "off". Reading never fails.
#pragma once

#include "Support/UserDefaults.h"

#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace UI {

struct CalendarReminderSettings {
    struct Choice {
        int minutes;
        std::string_view label;
    };
    /// The stored value of "Off".
    static constexpr int off = -1;
    static constexpr std::array<Choice, 5> headsUpChoices = {{{-1, "Off"},
                                                              {5, "5 minutes before"},
                                                              {10, "10 minutes before"},
                                                              {15, "15 minutes before"},
                                                              {30, "30 minutes before"}}};
    static constexpr std::array<Choice, 5> overlayChoices = {{{-1, "Off"},
                                                              {0, "When it starts"},
                                                              {1, "1 minute before"},
                                                              {2, "2 minutes before"},
                                                              {5, "5 minutes before"}}};

    static constexpr bool defaultRemindersEnabled = false;
    static constexpr int defaultHeadsUpMinutes = 15;
    static constexpr int defaultOverlayMinutes = 1;

    static constexpr const char* enabledKey = "calendar.remindersEnabled";
    static constexpr const char* headsUpMinutesKey = "calendar.headsUpMinutes";
    static constexpr const char* overlayMinutesKey = "calendar.overlayMinutes";
    static constexpr const char* excludedCalendarIDsKey = "calendar.excludedCalendarIDs";

    bool isEnabled = defaultRemindersEnabled;
    std::optional<int> headsUpMinutes = defaultHeadsUpMinutes;
    std::optional<int> overlayMinutes = defaultOverlayMinutes;
    std::set<std::string> excludedCalendarIDs;

    bool showsOverlay() const { return isEnabled && overlayMinutes.has_value(); }
    /// A heads-up that would not come before the overlay is not shown.
    bool showsHeadsUp() const {
        return isEnabled && headsUpMinutes.has_value() &&
               (!overlayMinutes || *overlayMinutes < *headsUpMinutes);
    }

    static CalendarReminderSettings load(const Support::UserDefaults& defaults);
    void save(Support::UserDefaults& defaults) const;

    /// True when the key is one of the settings' keys (the coordinator replans when one changes).
    static bool isSettingsKey(std::string_view key);

    bool operator==(const CalendarReminderSettings&) const = default;
};

} // namespace UI

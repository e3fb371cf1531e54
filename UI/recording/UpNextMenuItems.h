// The menu's "Up Next" section: today's meetings that have not ended, with short labels.
//
// Items: meetings whose end is after now and which have started already or start on the same calendar day
// as now (in the given time zone), by start, at most `maxItems`. Label: "Now" for a meeting in progress,
// else its start time in the locale's hour-and-minute form ("jmm": "9:30 AM", "09:30"); a space; the title
// trimmed (or "Untitled meeting"), cut to 39 characters and "…" when longer than `maxTitleLength`; then
// " · " and the service ("Zoom", "Teams", "Google Meet").
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"

#include <cstddef>
#include <string>
#include <vector>

namespace UI {

struct UpNextMenuItem {
    CalendarMeeting meeting;
    std::string label;

    /// Start at or before `now` and end after it.
    bool isInProgress(Support::Date now) const { return meeting.start <= now && now < meeting.end; }
    bool operator==(const UpNextMenuItem&) const = default;
};

namespace UpNextMenuItems {

inline constexpr std::size_t maxItems = 3;
inline constexpr std::size_t maxTitleLength = 40;
inline constexpr const char* sectionTitle = "Up Next";

/// `timeZoneID` is an Olson id ("Europe/Berlin"), `localeID` an ICU locale id ("en_US").
std::vector<UpNextMenuItem> items(const std::vector<CalendarMeeting>& meetings, Support::Date now,
                                  const std::string& timeZoneID, const std::string& localeID);
std::string label(const CalendarMeeting& meeting, Support::Date now, const std::string& timeZoneID,
                  const std::string& localeID);

} // namespace UpNextMenuItems

} // namespace UI

// A calendar as the settings list shows it (title, account, colour), and the grouping of calendars by the
// account (source) that holds them.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

/// Where a calendar comes from. Raw values are stored; an unknown raw value reads as "unknown".
enum class CalendarSourceKind { local, exchange, calDAV, iCloud, subscribed, birthday, unknown };

std::string_view rawValue(CalendarSourceKind kind);
CalendarSourceKind calendarSourceKindFromRaw(std::string_view raw);

struct CalendarInfo {
    std::string id;
    std::string title;
    std::string sourceID;
    std::string sourceTitle;
    CalendarSourceKind sourceKind = CalendarSourceKind::unknown;
    /// "#RRGGBB" (upper-case hex digits), or empty when the calendar has no colour.
    std::string colorHex;

    bool operator==(const CalendarInfo&) const = default;
};

/// One source with its calendars.
struct CalendarSourceGroup {
    std::string sourceID;
    std::string sourceTitle;
    CalendarSourceKind sourceKind = CalendarSourceKind::unknown;
    std::vector<CalendarInfo> calendars;

    bool operator==(const CalendarSourceGroup&) const = default;

    /// Groups `calendars` by `sourceID`, in the order each source first appears; calendars keep their order.
    static std::vector<CalendarSourceGroup> grouping(const std::vector<CalendarInfo>& calendars);
};

} // namespace UI

template <> struct std::hash<UI::CalendarInfo> {
    std::size_t operator()(const UI::CalendarInfo& info) const noexcept;
};

// The "add an account" menu: the providers a user can connect, with the menu title and the tip shown.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace UI {

enum class CalendarAccountProvider { microsoft, google, yahoo, iCloud, other };

inline constexpr std::array<CalendarAccountProvider, 5> allCalendarAccountProviders = {
    CalendarAccountProvider::microsoft, CalendarAccountProvider::google, CalendarAccountProvider::yahoo,
    CalendarAccountProvider::iCloud, CalendarAccountProvider::other};

std::string_view rawValue(CalendarAccountProvider provider);
std::optional<CalendarAccountProvider> calendarAccountProviderFromRaw(std::string_view raw);
std::string_view menuTitle(CalendarAccountProvider provider);
std::string_view tip(CalendarAccountProvider provider);

} // namespace UI

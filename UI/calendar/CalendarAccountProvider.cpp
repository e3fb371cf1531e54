#include "UI/calendar/CalendarAccountProvider.h"

#include "Support/EnumNames.h"

namespace UI {

constexpr Support::EnumName<CalendarAccountProvider> calendarAccountProviderNames[] = {
    {CalendarAccountProvider::microsoft, "microsoft"}, {CalendarAccountProvider::google, "google"},
    {CalendarAccountProvider::yahoo, "yahoo"},         {CalendarAccountProvider::iCloud, "iCloud"},
    {CalendarAccountProvider::other, "other"},
};

std::string_view rawValue(CalendarAccountProvider provider) {
    return Support::enumName(calendarAccountProviderNames, provider);
}

std::optional<CalendarAccountProvider> calendarAccountProviderFromRaw(std::string_view raw) {
    return Support::enumValue(calendarAccountProviderNames, raw);
}

std::string_view menuTitle(CalendarAccountProvider provider) {
    switch (provider) {
    case CalendarAccountProvider::microsoft:
        return "Microsoft 365 or Outlook…";
    case CalendarAccountProvider::google:
        return "Google…";
    case CalendarAccountProvider::yahoo:
        return "Yahoo…";
    case CalendarAccountProvider::iCloud:
        return "iCloud…";
    case CalendarAccountProvider::other:
        return "Other (CalDAV)…";
    }
    return "Other (CalDAV)…";
}

std::string_view tip(CalendarAccountProvider provider) {
    switch (provider) {
    case CalendarAccountProvider::microsoft:
        return "In Internet Accounts, choose Microsoft Exchange (also for Outlook.com and Microsoft 365), "
               "sign in, "
               "then turn on Calendars.";
    case CalendarAccountProvider::google:
        return "In Internet Accounts, choose Google, sign in, then turn on Calendars.";
    case CalendarAccountProvider::yahoo:
        return "In Internet Accounts, choose Yahoo, sign in, then turn on Calendars.";
    case CalendarAccountProvider::iCloud:
        return "In Internet Accounts, choose iCloud, sign in with your Apple Account, then turn on "
               "Calendars.";
    case CalendarAccountProvider::other:
        return "In Internet Accounts, choose Add Other Account, then CalDAV Account, and enter the details "
               "your "
               "calendar provider gives.";
    }
    return "";
}

} // namespace UI

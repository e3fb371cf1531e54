// The calendar accounts shown in settings: calendars grouped by the account that holds them, each with a
// kind (iCloud, Microsoft, Google, ...), a label and short texts for its row. Calendars that fit no account
// (local and subscribed calendars without an account title) are gathered under `otherID`.
#pragma once

#include "UI/calendar/CalendarInfo.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct CalendarAccount {
    enum class Kind { iCloud, microsoft, google, calDAV, yahoo, onMyMac, other };

    /// The source id, or `CalendarAccounts::otherID`.
    std::string id;
    Kind kind = Kind::other;
    std::string label;
    std::optional<std::string> email;
    std::vector<CalendarInfo> calendars;

    std::size_t calendarCount() const { return calendars.size(); }
    bool isConnected() const { return !calendars.empty(); }
    /// "Google · 3 calendars", "No calendars".
    std::string caption() const;
    /// The calendar titles joined with ", ", or "No calendars turned on".
    std::string detail() const;

    bool operator==(const CalendarAccount&) const = default;
};

std::string_view rawValue(CalendarAccount::Kind kind);
/// "iCloud", "Microsoft", "Google", "CalDAV", "Yahoo", "On My Mac", "Other calendars".
std::string_view displayName(CalendarAccount::Kind kind);
/// The symbol name of the kind's icon ("icloud", "building.2", ...).
std::string_view symbolName(CalendarAccount::Kind kind);

struct CalendarAccounts {
    static constexpr std::string_view otherID = "other";

    /// One account per source that is an account (see `kind`), in first-seen order, then the "other"
    /// account when any calendar is left.
    static std::vector<CalendarAccount> accounts(const std::vector<CalendarInfo>& calendars);
    /// The account kind of a source, or nothing when the source is no account (its calendars go to "other").
    static std::optional<CalendarAccount::Kind> kind(CalendarSourceKind sourceKind, std::string_view title);
    /// True for "name@domain.tld"-like text.
    static bool isEmail(std::string_view text);
};

} // namespace UI

// What a TZID written without a VTIMEZONE block in its file means, as an IANA zone id. Calendar programs
// spell zones three ways: IANA ids ("America/New_York"), Windows zone names ("Pacific Standard Time", which
// Outlook and Exchange write) and vendor-prefixed ids ("/mozilla.org/20050126_1/Europe/Berlin" from older
// Thunderbird versions, "/freeassociation.sourceforge.net/Tzfile/Europe/Berlin" from libical itself, and
// the like). Used by the iCalendar store's expansion after the file's own VTIMEZONE blocks (which always
// win: they are what the writer meant), and by the Evolution Data Server store for the TZIDs it resolves
// itself.
//
// Pure apart from ICU's Windows-to-IANA table; `isKnown` says which ids the zone database holds, so that a
// vendor prefix is cut exactly where a known zone begins. A name that matches nothing gives nothing: the
// caller reads such times as floating (in the user's zone) and says so. `databaseZone` asks libical's zone
// database (the system's), whose zones live as long as the program.
#pragma once

#include <libical/ical.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Platform {

struct ICalendarTimeZoneNames {
    /// The IANA id for `tzid`: as written when known, else the IANA zone of a Windows name, else the longest
    /// known tail of a path-like id ("/vendor/version/Area/City" → "Area/City").
    static std::optional<std::string> ianaID(std::string_view tzid,
                                             const std::function<bool(const std::string&)>& isKnown);
    /// The IANA zone ICU maps a Windows zone name to (its "001" territory), or nothing.
    static std::optional<std::string> windowsZone(std::string_view windowsName);
    /// The zone database's zone for any of these spellings of `tzid` (libical's own ids included), or
    /// nullptr.
    static icaltimezone* databaseZone(const char* tzid);
};

} // namespace Platform

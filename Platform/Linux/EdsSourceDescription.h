// How a calendar source of Evolution Data Server (EDS) appears in Vellmora's catalogue: its kind, the
// account it belongs to and its colour, decided from the facts the source registry gives (the calendar's
// backend, its parent source, the WebDAV host and the sign-in user). Pure, so it is tested without EDS; used
// by `EdsCalendarStore`.
//
// Accounts: a calendar under a collection (an online account added in GNOME Settings: Google, Microsoft,
// Nextcloud, CalDAV) belongs to "<provider> — <collection name>" ("Google — jane@example.com"); one under a
// built-in group ("CalDAV", "Google", "On The Web", created by hand in Evolution) to "<provider> — <host or
// user>" ("CalDAV — cloud.example.com"), so two servers are two accounts; a local calendar to "On This
// Computer". Colours "#rgb", "#rrggbb" and "#rrrrggggbbbb" give "#RRGGBB"; anything else gives "".
#pragma once

#include "Platform/CalendarStore.h"

#include <string>
#include <string_view>

namespace Platform {

struct EdsSourceFacts {
    std::string uid;
    std::string displayName;
    /// The calendar's backend ("local", "caldav", "google", "ews", "webcal", "contacts", "weather", …).
    std::string backend;
    std::string color;
    std::string parentUID;
    std::string parentDisplayName;
    /// The parent's backend: a collection's provider ("google", "ews", "owncloud", …) or a built-in group
    /// ("local-stub", "caldav-stub", …); empty without a parent.
    std::string parentBackend;
    /// The server of a WebDAV calendar, when it has one.
    std::string host;
    /// The sign-in user of the calendar (or its account).
    std::string user;
};

struct EdsSourceDescription {
    static constexpr std::string_view localAccountTitle = "On This Computer";

    static CalendarDescriptor describe(const EdsSourceFacts& facts);
    static CalendarSourceType sourceType(const EdsSourceFacts& facts);
    /// "Google — jane@example.com", "CalDAV — cloud.example.com", "On This Computer".
    static std::string accountTitle(const EdsSourceFacts& facts);
    /// The id that groups the calendars of one account.
    static std::string accountID(const EdsSourceFacts& facts);
    /// "Google", "Microsoft", "CalDAV", … for a backend name; empty when it names no provider.
    static std::string providerName(std::string_view backend);
    static std::string normalisedColor(std::string_view color);
};

} // namespace Platform

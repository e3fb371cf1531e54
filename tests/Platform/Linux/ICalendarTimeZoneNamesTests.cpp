#include "Platform/Linux/ICalendarTimeZoneNames.h"

#include <gtest/gtest.h>

#include <set>

using Platform::ICalendarTimeZoneNames;

namespace {

bool known(const std::string& id) {
    static const std::set<std::string> zones = {"Europe/Berlin", "America/Los_Angeles",
                                                "America/Argentina/Buenos_Aires", "UTC"};
    return zones.count(id) > 0;
}

} // namespace

TEST(ICalendarTimeZoneNames, FindsTheIanaZoneOfEachSpellingAndNothingForAnUnknownOne) {
    struct Case {
        const char* tzid;
        std::optional<std::string> zone;
    } cases[] = {
        {"Europe/Berlin", "Europe/Berlin"},
        {"Pacific Standard Time", "America/Los_Angeles"},
        {"W. Europe Standard Time", "Europe/Berlin"},
        {"/mozilla.org/20050126_1/Europe/Berlin", "Europe/Berlin"},
        {"/freeassociation.sourceforge.net/Tzfile/Europe/Berlin", "Europe/Berlin"},
        {"/softwarestudio.org/Olson_20011030_5/America/Argentina/Buenos_Aires",
         "America/Argentina/Buenos_Aires"},
        {"/Europe/Berlin", "Europe/Berlin"},
        {"/vendor/UTC", "UTC"},
        {"Mars/Olympus_Mons", std::nullopt},
        {"Customized Time Zone", std::nullopt},
        {"", std::nullopt},
        {"////", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ICalendarTimeZoneNames::ianaID(c.tzid, known), c.zone) << c.tzid;
    }
}

TEST(ICalendarTimeZoneNames, MapsWindowsNamesThroughTheTerritoryDefault) {
    EXPECT_EQ(ICalendarTimeZoneNames::windowsZone("Eastern Standard Time"), "America/New_York");
    EXPECT_EQ(ICalendarTimeZoneNames::windowsZone("Tokyo Standard Time"), "Asia/Tokyo");
    EXPECT_FALSE(ICalendarTimeZoneNames::windowsZone("Europe/Berlin"));
    EXPECT_FALSE(ICalendarTimeZoneNames::windowsZone(""));
}

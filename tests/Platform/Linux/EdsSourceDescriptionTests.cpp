#include "Platform/Linux/EdsSourceDescription.h"

#include <gtest/gtest.h>

using namespace Platform;

namespace {

struct Row {
    const char* what;
    EdsSourceFacts facts;
    CalendarSourceType type;
    const char* account;
    const char* accountID;
};

TEST(EdsSourceDescription, NamesTheAccountAndKindOfEachKindOfCalendar) {
    const Row rows[] = {
        {"a local calendar",
         {"c1", "Work", "local", "#3465a4", "local-stub", "On This Computer", "local-stub", "", ""},
         CalendarSourceType::local,
         "On This Computer",
         "local-stub"},
        {"a Google account from Online Accounts",
         {"c2", "Jane", "caldav", "", "acc1", "jane@example.com", "google", "apidata.googleusercontent.com",
          "jane@example.com"},
         CalendarSourceType::calDAV,
         "Google — jane@example.com",
         "acc1"},
        {"a Microsoft account",
         {"c3", "Calendar", "microsoft365", "", "acc2", "joe@contoso.com", "microsoft365", "", ""},
         CalendarSourceType::exchange,
         "Microsoft — joe@contoso.com",
         "acc2"},
        {"an Exchange account",
         {"c4", "Calendar", "ews", "", "acc3", "joe@corp.example", "ews", "", ""},
         CalendarSourceType::exchange,
         "Microsoft — joe@corp.example",
         "acc3"},
        {"a CalDAV calendar made by hand",
         {"c5", "Team", "caldav", "", "caldav-stub", "CalDAV", "caldav-stub", "cloud.example.com", "jane"},
         CalendarSourceType::calDAV,
         "CalDAV — cloud.example.com",
         "caldav-stub:CalDAV — cloud.example.com"},
        {"a CalDAV calendar on iCloud",
         {"c6", "Home", "caldav", "", "caldav-stub", "CalDAV", "caldav-stub", "p42-caldav.icloud.com",
          "x@me.com"},
         CalendarSourceType::mobileMe,
         "CalDAV — x@me.com",
         "caldav-stub:CalDAV — x@me.com"},
        {"a web subscription",
         {"c7", "Holidays", "webcal", "", "webcal-stub", "On The Web", "webcal-stub", "example.org", ""},
         CalendarSourceType::subscribed,
         "On The Web — example.org",
         "webcal-stub:On The Web — example.org"},
        {"the birthdays calendar",
         {"c8", "Birthdays", "contacts", "", "contacts-stub", "Contacts", "contacts-stub", "", ""},
         CalendarSourceType::birthdays,
         "Contacts",
         "contacts-stub:Contacts"},
        {"a calendar without a parent",
         {"c9", "Odd", "weather", "", "", "", "", "", ""},
         CalendarSourceType::unknown,
         "",
         "c9"},
    };
    for (const auto& row : rows) {
        auto d = EdsSourceDescription::describe(row.facts);
        EXPECT_EQ(d.sourceType, row.type) << row.what;
        EXPECT_EQ(d.sourceTitle, row.account) << row.what;
        EXPECT_EQ(d.sourceID, row.accountID) << row.what;
        EXPECT_EQ(d.id, row.facts.uid) << row.what;
    }
}

TEST(EdsSourceDescription, ColoursBecomeUpperCaseSixDigitHex) {
    const std::pair<const char*, const char*> rows[] = {
        {"#3465a4", "#3465A4"},
        {"#abc", "#AABBCC"},
        {"#34346565a4a4", "#3465A4"},
        {" #3465a4 ", "#3465A4"},
        {"3465a4", ""},
        {"#34g5a4", ""},
        {"", ""},
        {"#12345", ""},
    };
    for (const auto& [in, out] : rows) {
        EXPECT_EQ(EdsSourceDescription::normalisedColor(in), out) << in;
    }
}

TEST(EdsSourceDescription, AnUnnamedCalendarIsTitledByItsId) {
    EdsSourceFacts facts;
    facts.uid = "abc";
    facts.backend = "local";
    EXPECT_EQ(EdsSourceDescription::describe(facts).title, "abc");
}

} // namespace

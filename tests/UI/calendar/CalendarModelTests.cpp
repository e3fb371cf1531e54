#include "UI/calendar/CalendarAccountProvider.h"
#include "UI/calendar/CalendarAccounts.h"
#include "UI/calendar/CalendarAttendeeHints.h"
#include "UI/calendar/CalendarFetchWindow.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/MeetingAppInfo.h"

#include <gtest/gtest.h>

#include <unordered_set>

using namespace UI;

namespace {

CalendarMeeting meetingWith(std::vector<CalendarAttendee> attendees,
                            std::optional<CalendarAttendee> organizer = {}) {
    return CalendarMeeting{"E|1",
                           "E",
                           std::nullopt,
                           "cal",
                           "T",
                           Support::dateFromUnix(0),
                           Support::dateFromUnix(60),
                           MeetingLink{MeetingService::meet,
                                       *Support::Url::parse("https://meet.google.com/abc-defg-hij"),
                                       std::nullopt},
                           std::nullopt,
                           std::move(attendees),
                           std::move(organizer),
                           CalendarParticipantStatus::unknown};
}

CalendarAttendee person(std::string name, CalendarAttendee::Kind kind = CalendarAttendee::Kind::person,
                        CalendarParticipantStatus status = CalendarParticipantStatus::accepted,
                        bool current = false) {
    return CalendarAttendee{std::move(name), std::nullopt, kind, status, current};
}

Support::Date at(const char* iso) {
    return *Support::parseISO8601(iso);
}

} // namespace

TEST(CalendarMeeting, ShowsUntitledMeetingForABlankTitleAndIsInProgressFromStartToEnd) {
    auto m = meetingWith({});
    m.title = "  ";
    EXPECT_EQ(m.displayTitle(), "Untitled meeting");
    m.title = " Standup\n";
    EXPECT_EQ(m.displayTitle(), "Standup");
    EXPECT_TRUE(m.isInProgress(m.start));
    EXPECT_FALSE(m.isInProgress(m.end));
    std::unordered_set<CalendarMeeting> set{m, m};
    EXPECT_EQ(set.size(), 1u);
}

TEST(CalendarAttendeeHints, GivesNoHintsForMoreThanTwentyFiveAttendees) {
    std::vector<CalendarAttendee> many;
    for (int i = 0; i < 26; ++i) {
        many.push_back(person("P" + std::to_string(i)));
    }
    EXPECT_TRUE(CalendarAttendeeHints::names(meetingWith(many), std::nullopt).empty());
    many.resize(20);
    auto names = CalendarAttendeeHints::names(meetingWith(many), std::nullopt);
    ASSERT_EQ(names.size(), 15u);
    EXPECT_EQ(names.front(), "P0");
    EXPECT_EQ(names.back(), "P14");
}

TEST(CalendarAttendeeHints, SkipsRoomsTheUserDeclinedBlankAndRepeatedNames) {
    auto names = CalendarAttendeeHints::names(
        meetingWith({person("Room 1", CalendarAttendee::Kind::room),
                     person("Me", CalendarAttendee::Kind::person, CalendarParticipantStatus::accepted, true),
                     person("No", CalendarAttendee::Kind::person, CalendarParticipantStatus::declined),
                     person("  "), person("Ana"), person("Bo", CalendarAttendee::Kind::unknown),
                     person("Jane Roe")},
                    person("Ana")),
        CalendarAttendeeHints::User{std::string("jane roe"), std::nullopt});
    EXPECT_EQ(names, (std::vector<std::string>{"Ana", "Bo"}));
}

TEST(CalendarFetchWindow, RunsFromAnHourAgoToMidnightAfterTomorrowInTheUsersZone) {
    auto now = at("2026-11-22T23:30:00Z");
    auto berlin = CalendarFetchWindow::interval(now, "Europe/Berlin"); // already 00:30 on the 23rd there
    EXPECT_EQ(berlin.start, at("2026-11-22T22:30:00Z"));
    EXPECT_EQ(berlin.end, at("2026-11-24T23:00:00Z"));
    auto newYork = CalendarFetchWindow::interval(now, "America/New_York");
    EXPECT_EQ(newYork.end, at("2026-11-24T05:00:00Z"));
    auto unknown = CalendarFetchWindow::interval(now, "Not/AZone");
    EXPECT_EQ(unknown.end, now + Support::seconds(172800));
}

TEST(CalendarFetchWindow, AccountsForADaylightSavingChangeInTheWindow) {
    // Europe/Berlin leaves summer time on 2026-10-25.
    auto window = CalendarFetchWindow::interval(at("2026-10-24T10:00:00Z"), "Europe/Berlin");
    EXPECT_EQ(window.end, at("2026-10-25T23:00:00Z"));
}

TEST(CalendarAccounts, GroupsCalendarsIntoAccountsAndGathersTheRestUnderOther) {
    std::vector<CalendarInfo> calendars{
        {"c1", "Work", "s1", "jane@gmail.com", CalendarSourceKind::calDAV, "#FF0000"},
        {"c2", "Holidays", "s2", "Subscriptions", CalendarSourceKind::subscribed, ""},
        {"c3", "Team", "s1", "jane@gmail.com", CalendarSourceKind::calDAV, ""},
        {"c4", "Exchange", "s3", "Work account", CalendarSourceKind::exchange, ""},
        {"c5", "Nextcloud", "s4", "cloud.example.org", CalendarSourceKind::calDAV, ""},
        {"c6", "Personal", "s5", "Local", CalendarSourceKind::local, ""},
    };
    auto accounts = CalendarAccounts::accounts(calendars);
    ASSERT_EQ(accounts.size(), 5u);
    EXPECT_EQ(accounts[0].kind, CalendarAccount::Kind::google);
    EXPECT_EQ(accounts[0].email, "jane@gmail.com");
    EXPECT_EQ(accounts[0].calendarCount(), 2u);
    EXPECT_EQ(accounts[0].caption(), "Google · 2 calendars");
    EXPECT_EQ(accounts[0].detail(), "Work, Team");
    EXPECT_EQ(accounts[1].kind, CalendarAccount::Kind::microsoft);
    EXPECT_EQ(accounts[2].kind, CalendarAccount::Kind::calDAV);
    EXPECT_EQ(accounts[3].kind, CalendarAccount::Kind::onMyMac);
    EXPECT_EQ(accounts[4].id, CalendarAccounts::otherID);
    EXPECT_EQ(accounts[4].label, "Other calendars");
    EXPECT_TRUE(CalendarAccounts::isEmail("a.b@example.co"));
    EXPECT_FALSE(CalendarAccounts::isEmail("Jane <a@b.c>"));
    EXPECT_FALSE(CalendarAccounts::isEmail("not an address"));
}

TEST(CalendarAccountProvider, HasTheMenuTitlesOfTheAddAccountMenu) {
    EXPECT_EQ(menuTitle(CalendarAccountProvider::microsoft), "Microsoft 365 or Outlook…");
    EXPECT_EQ(menuTitle(CalendarAccountProvider::other), "Other (CalDAV)…");
    EXPECT_EQ(calendarAccountProviderFromRaw("iCloud"), CalendarAccountProvider::iCloud);
    EXPECT_EQ(symbolName(CalendarAccount::Kind::onMyMac), "laptopcomputer");
}

TEST(MeetingAppInfo, ListsEightBundleIdentifiersAndTheDefaultFollowedApps) {
    EXPECT_EQ(MeetingAppInfo::all().size(), 9u);
    EXPECT_EQ(MeetingAppInfo::defaultBundleIDs().size(), 8u);
    EXPECT_TRUE(MeetingAppInfo::withID("meet")->browserBased);
    EXPECT_EQ(MeetingAppInfo::withID("whatsapp")->icon.size(), 10u);
    EXPECT_EQ(MeetingAppInfo::defaultEnabledApps, "zoom,teams,meet,slack,discord");
}

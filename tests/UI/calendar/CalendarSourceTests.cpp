#include "UI/calendar/CalendarSource.h"

#include "Fakes/FakeCalendarStore.h"

#include <gtest/gtest.h>

using UI::CalendarSource;

namespace {

const Support::Date nine = Support::dateFromUnix(1795770000);
const UI::DateInterval day{nine - Support::seconds(3600), nine + Support::seconds(86400)};

Platform::CalendarEvent event(std::string id, std::string calendar, Support::Date start) {
    Platform::CalendarEvent e;
    e.calendarItemID = std::move(id);
    e.calendarID = std::move(calendar);
    e.title = "Sync";
    e.start = start;
    e.end = start + Support::seconds(1800);
    e.url = "https://zoom.us/j/1234567890";
    return e;
}

struct CalendarSourceTest : ::testing::Test {
    Support::MainLoop loop;
    Fakes::FakeCalendarStore store;
    CalendarSourceTest() {
        store.calendarList = {
            {"work", "Work", "s1", "me@example.com", Platform::CalendarSourceType::calDAV, "#112233", true,
             ""},
            {"home", "Home", "s2", "Local", Platform::CalendarSourceType::local, "", true, ""}};
        store.eventList = {event("B", "home", nine + Support::seconds(600)), event("A", "work", nine)};
    }
    template <typename T> T wait(Support::Task<T> task) {
        loop.runUntilIdle();
        EXPECT_TRUE(task.isDone());
        return task.get();
    }
};

} // namespace

TEST_F(CalendarSourceTest, ListsMeetingsOfTheCalendarsNotExcluded) {
    CalendarSource source(store);
    auto all = wait(source.meetings(day, {}));
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].calendarItemID, "A");
    auto homeOnly = wait(source.meetings(day, {"work"}));
    ASSERT_EQ(homeOnly.size(), 1u);
    EXPECT_EQ(homeOnly[0].calendarItemID, "B");
    int fetchesBefore = store.fetchCount;
    EXPECT_TRUE(wait(source.meetings(day, {"work", "home"})).empty());
    EXPECT_EQ(store.fetchCount, fetchesBefore); // nothing to ask for
}

TEST_F(CalendarSourceTest, GivesNothingWithoutAccessUntilAccessIsGranted) {
    store.authorization = Platform::CalendarAuthorization::notDetermined;
    CalendarSource source(store);
    EXPECT_EQ(source.authorizationStatus(), UI::CalendarAuthorizationStatus::notDetermined);
    EXPECT_TRUE(source.calendars().empty());
    EXPECT_TRUE(wait(source.meetings(day, {})).empty());
    EXPECT_TRUE(wait(source.requestFullAccess()));
    EXPECT_EQ(source.calendars().size(), 2u);
    EXPECT_EQ(source.calendars()[0].sourceKind, UI::CalendarSourceKind::calDAV);
    store.authorization = Platform::CalendarAuthorization::writeOnly;
    EXPECT_EQ(source.authorizationStatus(), UI::CalendarAuthorizationStatus::denied);
}

TEST_F(CalendarSourceTest, RunsOneFetchAtATimeInCallOrder) {
    CalendarSource source(store);
    store.holdFetches = true;
    auto first = source.meetings(day, {});
    store.eventList.pop_back();
    auto second = source.meetings(day, {});
    loop.runUntilIdle();
    EXPECT_EQ(store.fetchCount, 1); // the second waits for the first
    store.releaseFetches();
    loop.runUntilIdle();
    ASSERT_TRUE(first.isDone());
    ASSERT_TRUE(second.isDone());
    EXPECT_EQ(store.fetchCount, 2);
    EXPECT_EQ(first.get().size(), 1u); // the list was changed before the first fetch ran
    EXPECT_EQ(second.get().size(), 1u);
}

TEST_F(CalendarSourceTest, YieldsOncePerStoreChangeUntilTheStreamEnds) {
    CalendarSource source(store);
    int seen = 0;
    auto changes = std::make_shared<CalendarSource::ChangeStream>(source.changes());
    auto consumer = Support::startTask([changes, &seen]() -> Support::Task<void> {
        while (co_await changes->next()) {
            ++seen;
        }
    });
    loop.runUntilIdle();
    store.emitChange();
    store.emitChange();
    loop.runUntilIdle();
    EXPECT_EQ(seen, 2);
    changes->finish();
    loop.runUntilIdle();
    EXPECT_TRUE(consumer.isDone());
    EXPECT_EQ(store.observerCount(), 0u);
}

TEST(CalendarSourceSnapshot, TakesTheEmailOnlyFromMailtoAddresses) {
    Platform::CalendarParticipant p;
    p.url = "MAILTO:Jane@Example.com";
    p.name = "Jane";
    p.type = Platform::ParticipantType::person;
    p.status = Platform::ParticipantStatus::tentative;
    auto a = CalendarSource::attendee(p);
    EXPECT_EQ(a.email, "Jane@Example.com");
    EXPECT_EQ(a.status, UI::CalendarParticipantStatus::tentative);
    p.url = "urn:uuid:1234";
    EXPECT_FALSE(CalendarSource::attendee(p).email);

    auto e = event("A", "work", nine);
    e.url = "not a url";
    auto fields = CalendarSource::fields(e);
    EXPECT_FALSE(fields.url);
    EXPECT_EQ(fields.occurrenceDate, nine);
}

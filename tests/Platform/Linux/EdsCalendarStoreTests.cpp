// The desktop calendar store against the real Evolution Data Server on a private session bus: calendars and
// events are made through libecal, read back through the store, and changes must reach the observers.
#if VELLMORA_HAVE_EDS

#include "Platform/Linux/EdsCalendarStore.h"
#include "Platform/Linux/EdsTestDesktop.h"
#include "Platform/Linux/EdsTestEvents.h"
#include "Support/BlockingWork.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

using namespace Platform;

namespace {

Support::Date at(const char* iso) {
    return *Support::parseISO8601(iso);
}

template <typename T> T runToEnd(Support::MainLoop& loop, Support::Task<T> task) {
    while (!task.isDone()) {
        loop.runOne(50);
    }
    return task.get();
}

struct EdsCalendarStoreTest : ::testing::Test {
    static inline EdsTest::Calendars* calendars = nullptr;

    void SetUp() override {
        auto& desktop = EdsTest::Desktop::shared();
        if (!desktop.problem().empty()) {
            GTEST_SKIP() << "Evolution Data Server cannot run here: " << desktop.problem();
        }
        if (!calendars) {
            calendars = new EdsTest::Calendars(EdsTest::Calendars::make(desktop));
        }
    }

    EdsCalendarStore::Opened open(bool watch) {
        EdsCalendarStore::Options options;
        options.timeZoneID = "Europe/Berlin";
        options.watchForChanges = watch;
        options.debounceSeconds = 0.2;
        return EdsCalendarStore::open(options);
    }

    std::vector<CalendarEvent> eventsNamed(const std::vector<CalendarEvent>& events,
                                           const std::string& title) {
        std::vector<CalendarEvent> out;
        std::copy_if(events.begin(), events.end(), std::back_inserter(out),
                     [&](const auto& e) { return e.title == title; });
        std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.start < b.start; });
        return out;
    }

    Support::MainLoop loop;
};

TEST_F(EdsCalendarStoreTest, ListsEveryEnabledCalendarWithItsAccountKindAndColour) {
    auto opened = open(false);
    ASSERT_TRUE(opened.store) << opened.problem;
    EXPECT_EQ(opened.store->authorizationStatus(), CalendarAuthorization::fullAccess);
    auto all = opened.store->calendars();
    auto work =
        std::find_if(all.begin(), all.end(), [&](const auto& c) { return c.id == calendars->workID; });
    ASSERT_NE(work, all.end());
    EXPECT_EQ(work->title, "Work");
    EXPECT_EQ(work->sourceTitle, "On This Computer");
    EXPECT_EQ(work->sourceType, CalendarSourceType::local);
    EXPECT_EQ(work->colorHex, "#3465A4");
    EXPECT_TRUE(work->isReadable);
    auto home =
        std::find_if(all.begin(), all.end(), [&](const auto& c) { return c.id == calendars->homeID; });
    ASSERT_NE(home, all.end());
    EXPECT_EQ(home->sourceID, work->sourceID);
    // The built-in groups ("On This Computer" itself) are no calendars.
    EXPECT_TRUE(std::none_of(all.begin(), all.end(), [](const auto& c) { return c.id == "local-stub"; }));
}

TEST_F(EdsCalendarStoreTest, GivesTheOccurrencesOfTheWindowAsEdsExpandsThem) {
    auto opened = open(false);
    ASSERT_TRUE(opened.store) << opened.problem;
    auto events = runToEnd(loop, opened.store->events(at("2026-12-01T00:00:00Z"), at("2027-01-01T00:00:00Z"),
                                                      {calendars->workID}));

    auto standups = eventsNamed(events, "Standup");
    // Weekly from 1 December at 09:30 in Berlin: the 8th moved to 11:00, the 15th left out by EXDATE, the
    // 22nd cancelled.
    ASSERT_EQ(standups.size(), 4u);
    EXPECT_EQ(standups[0].start, at("2026-12-01T08:30:00Z"));
    EXPECT_EQ(standups[0].end, at("2026-12-01T08:45:00Z"));
    EXPECT_EQ(standups[1].start, at("2026-12-08T10:00:00Z"));
    EXPECT_EQ(standups[1].occurrenceDate, at("2026-12-08T08:30:00Z"));
    EXPECT_EQ(standups[2].start, at("2026-12-22T08:30:00Z"));
    EXPECT_EQ(standups[2].status, EventStatus::canceled);
    EXPECT_EQ(standups[3].start, at("2026-12-29T08:30:00Z"));
    EXPECT_EQ(standups[0].location, "https://meet.google.com/abc-defg-hij");
    for (const auto& s : standups) {
        EXPECT_EQ(s.calendarItemID, "standup-series");
        EXPECT_EQ(s.calendarID, calendars->workID);
    }

    auto review = eventsNamed(events, "Design review");
    ASSERT_EQ(review.size(), 1u);
    EXPECT_EQ(review[0].url, "https://zoom.us/j/1234567890");
    ASSERT_TRUE(review[0].organizer);
    EXPECT_EQ(review[0].organizer->url, "mailto:lena@example.com");
    EXPECT_EQ(review[0].organizer->name, "Lena");
    ASSERT_EQ(review[0].attendees.size(), 2u);
    EXPECT_EQ(review[0].attendees[1].type, ParticipantType::room);

    auto holiday = eventsNamed(events, "Holiday");
    ASSERT_EQ(holiday.size(), 1u);
    EXPECT_TRUE(holiday[0].isAllDay);
    EXPECT_EQ(holiday[0].start, at("2026-12-02T23:00:00Z")); // midnight in Berlin

    auto pitch = eventsNamed(events, "Vendor pitch");
    ASSERT_EQ(pitch.size(), 1u);
    ASSERT_EQ(pitch[0].attendees.size(), 1u);
    EXPECT_TRUE(pitch[0].attendees[0].isCurrentUser); // the address of the user's identity in EDS
    EXPECT_EQ(pitch[0].attendees[0].status, ParticipantStatus::declined);

    auto board = eventsNamed(events, "Board sync");
    ASSERT_EQ(board.size(), 1u);
    EXPECT_EQ(board[0].notes, "See the invitation.");
    ASSERT_TRUE(board[0].htmlNotes);
    EXPECT_NE(board[0].htmlNotes->find("https://meet.google.com/xyz-abcd-efg"), std::string::npos);
    EXPECT_EQ(board[0].conferenceURLs, (std::vector<std::string>{"tel:+15551234"}));

    // Only the asked calendar is read.
    EXPECT_TRUE(eventsNamed(events, "Dentist call").empty());
}

TEST_F(EdsCalendarStoreTest, EveryKindOfChangeReachesTheObserversOnceWithinTwoSeconds) {
    auto opened = open(true);
    ASSERT_TRUE(opened.store) << opened.problem;
    auto& desktop = EdsTest::Desktop::shared();
    ESource* scratch = desktop.createLocalCalendar("Scratch", "#ff0000");
    ECalClient* client = desktop.connect(scratch);
    int changes = 0;
    auto subscription = opened.store->observeChanges([&] { ++changes; });
    // The new calendar itself is a change; from here each step must add exactly one.
    auto waitFor = [&](int expected) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (changes < expected && std::chrono::steady_clock::now() < deadline) {
            loop.runOne(20);
        }
        return changes;
    };
    ASSERT_TRUE(waitFor(1) >= 0);
    int base = changes;

    EdsTest::Desktop::create(client,
                             EdsTest::single("scratch-1", "Added", "20261210T100000Z", "20261210T103000Z"));
    EXPECT_EQ(waitFor(base + 1), base + 1) << "adding an event";
    EdsTest::Desktop::modify(client,
                             EdsTest::single("scratch-1", "Added", "20261210T120000Z", "20261210T123000Z"),
                             E_CAL_OBJ_MOD_ALL);
    EXPECT_EQ(waitFor(base + 2), base + 2) << "moving an event";
    EdsTest::Desktop::remove(client, "scratch-1");
    EXPECT_EQ(waitFor(base + 3), base + 3) << "deleting an event";
    desktop.setEnabled(scratch, false);
    EXPECT_EQ(waitFor(base + 4), base + 4) << "disabling a calendar";
    auto all = opened.store->calendars();
    EXPECT_TRUE(std::none_of(all.begin(), all.end(),
                             [&](const auto& c) { return c.id == e_source_get_uid(scratch); }));
    // A last change proves that none of the steps above arrived twice (a late copy would come before it).
    desktop.setEnabled(scratch, true);
    EXPECT_EQ(waitFor(base + 5), base + 5) << "enabling a calendar";

    g_object_unref(client);
    g_object_unref(scratch);
}

} // namespace

#endif

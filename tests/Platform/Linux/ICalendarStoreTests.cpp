#include "Fakes/LoopbackServer.h"

#include "Fakes/TempFolder.h"
#include "Platform/Linux/ICalendarStore.h"

#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;
using Platform::CalendarEvent;
using Platform::ICalendarStore;

namespace {

Support::Date at(const char* iso) {
    return *Support::parseISO8601(iso);
}
std::string iso(Support::Date d) {
    return Support::formatISO8601(d);
}

std::string calendar(const std::string& body) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Test//EN\r\n" + body + "END:VCALENDAR\r\n";
}

const std::string berlinZone =
    "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"
    "BEGIN:DAYLIGHT\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\nTZNAME:CEST\r\n"
    "DTSTART:19700329T020000\r\nRRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\n"
    "BEGIN:STANDARD\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\nTZNAME:CET\r\n"
    "DTSTART:19701025T030000\r\nRRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nEND:STANDARD\r\n"
    "END:VTIMEZONE\r\n";

std::vector<CalendarEvent> occurrences(const std::string& text, const char* from, const char* to,
                                       const std::string& zone = "Europe/Berlin",
                                       std::vector<std::string> emails = {}) {
    auto events = ICalendarStore::occurrencesInText(text, "cal", at(from), at(to), zone, emails);
    std::sort(events.begin(), events.end(), [](const auto& a, const auto& b) { return a.start < b.start; });
    return events;
}

std::string simpleEvent(const std::string& uid, const std::string& start, const std::string& extra = "") {
    return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20261101T000000Z\r\nDTSTART:" + start +
           "\r\nDURATION:PT30M\r\nSUMMARY:" + uid + "\r\n" + extra + "END:VEVENT\r\n";
}

} // namespace

TEST(ICalendarStore, ExpandsAWeeklySeriesInItsZoneWithExceptionsAndOverrides) {
    auto text =
        calendar(berlinZone +
                 "BEGIN:VEVENT\r\nUID:weekly\r\nDTSTAMP:20261101T000000Z\r\n"
                 "DTSTART;TZID=Europe/Berlin:20261002T100000\r\nDTEND;TZID=Europe/Berlin:20261002T103000\r\n"
                 "RRULE:FREQ=WEEKLY;BYDAY=FR\r\nEXDATE;TZID=Europe/Berlin:20261106T100000\r\n"
                 "SUMMARY:Standup\r\nLOCATION:https://zoom.us/j/1234567890\r\nEND:VEVENT\r\n"
                 // moved from 13 Nov 10:00 to 12 Nov 15:00
                 "BEGIN:VEVENT\r\nUID:weekly\r\nDTSTAMP:20261101T000000Z\r\n"
                 "RECURRENCE-ID;TZID=Europe/Berlin:20261113T100000\r\n"
                 "DTSTART;TZID=Europe/Berlin:20261112T150000\r\nDTEND;TZID=Europe/Berlin:20261112T153000\r\n"
                 "SUMMARY:Standup (moved)\r\nEND:VEVENT\r\n"
                 // cancelled on 20 Nov
                 "BEGIN:VEVENT\r\nUID:weekly\r\nDTSTAMP:20261101T000000Z\r\n"
                 "RECURRENCE-ID;TZID=Europe/Berlin:20261120T100000\r\nSTATUS:CANCELLED\r\n"
                 "DTSTART;TZID=Europe/Berlin:20261120T100000\r\nDTEND;TZID=Europe/Berlin:20261120T103000\r\n"
                 "END:VEVENT\r\n");
    auto events = occurrences(text, "2026-10-20T00:00:00Z", "2026-11-28T00:00:00Z");
    std::vector<std::string> starts;
    for (const auto& e : events) {
        starts.push_back(iso(e.start) + " " + e.title +
                         (e.status == Platform::EventStatus::canceled ? " X" : ""));
    }
    EXPECT_EQ(starts, (std::vector<std::string>{
                          "2026-10-23T08:00:00Z Standup",         // summer time
                          "2026-10-30T09:00:00Z Standup",         // winter time
                          "2026-11-12T14:00:00Z Standup (moved)", // 6 Nov excluded, 13 Nov moved
                          "2026-11-20T09:00:00Z Standup X",
                          "2026-11-27T09:00:00Z Standup",
                      }));
    EXPECT_EQ(iso(*events[2].occurrenceDate), "2026-11-13T09:00:00Z");
    EXPECT_EQ(events[2].location, "https://zoom.us/j/1234567890"); // taken from its series
    EXPECT_EQ(iso(events[0].end), "2026-10-23T08:30:00Z");
    EXPECT_EQ(events[0].calendarItemID, "weekly");
}

TEST(ICalendarStore, FindsAMovedOccurrenceWhoseOriginalDateIsOutsideTheRange) {
    auto text = calendar(
        "BEGIN:VEVENT\r\nUID:s\r\nDTSTART:20261001T090000Z\r\nDURATION:PT1H\r\nRRULE:FREQ=DAILY;COUNT=3\r\n"
        "SUMMARY:Series\r\nEND:VEVENT\r\n"
        "BEGIN:VEVENT\r\nUID:s\r\nRECURRENCE-ID:20261002T090000Z\r\nDTSTART:20261127T090000Z\r\n"
        "DTEND:20261127T100000Z\r\nEND:VEVENT\r\n");
    auto events = occurrences(text, "2026-11-27T00:00:00Z", "2026-11-28T00:00:00Z");
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].title, "Series");
    auto early = occurrences(text, "2026-10-01T00:00:00Z", "2026-10-04T00:00:00Z");
    EXPECT_EQ(early.size(), 2u); // the second day moved away
}

TEST(ICalendarStore, GivesEachOccurrenceTheTextsOfItsOwnEventOrOfItsSeries) {
    std::string longNotes(20000, 'x');
    auto text = calendar(
        // A series with folded timing lines, a reminder alarm of its own, and long notes.
        "BEGIN:VEVENT\r\nUID:series\r\nDTSTART:20261123T090000Z\r\nDTEND:20261123T09\r\n 3000Z\r\n"
        "RRULE:FREQ=DAI\r\n LY;COUNT=5\r\nSUMMARY:Planning\r\nDESCRIPTION:" +
        longNotes +
        "\r\nATTENDEE;CN=Sam:mailto:sam@example.com\r\n"
        "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT10M\r\nDURATION:P3D\r\nREPEAT:2\r\nEND:VALARM\r\n"
        "END:VEVENT\r\n"
        // Its 27 Nov occurrence moved to the afternoon with a title of its own: notes and people come from
        // the series.
        "BEGIN:VEVENT\r\nUID:series\r\nRECURRENCE-ID:20261127T090000Z\r\nDTSTART:20261127T150000Z\r\n"
        "DTEND:20261127T153000Z\r\nSUMMARY:Planning (moved)\r\nEND:VEVENT\r\n"
        // An event that carries a property named like the store's own bookkeeping.
        "BEGIN:VEVENT\r\nUID:odd\r\nX-VELLMORA-BLOCK:0\r\nDTSTART:20261127T120000Z\r\nDURATION:PT1H\r\n"
        "SUMMARY:Odd\r\nEND:VEVENT\r\n"
        // Far away: its texts are never needed.
        + simpleEvent("far", "20270601T090000Z", "DESCRIPTION:" + longNotes + "\r\n"));
    auto events = occurrences(text, "2026-11-27T00:00:00Z", "2026-11-28T00:00:00Z");
    std::vector<std::string> seen;
    for (const auto& e : events) {
        seen.push_back(iso(e.start) + " " + iso(e.end) + " " + e.calendarItemID + " " + e.title + " " +
                       std::to_string(e.notes.value_or("").size()) + " " +
                       std::to_string(e.attendees.size()));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "2026-11-27T12:00:00Z 2026-11-27T13:00:00Z odd Odd 0 0",
                        "2026-11-27T15:00:00Z 2026-11-27T15:30:00Z series Planning (moved) 20000 1",
                    }));
    auto before = occurrences(text, "2026-11-26T00:00:00Z", "2026-11-27T00:00:00Z");
    ASSERT_EQ(before.size(), 1u);
    EXPECT_EQ(before[0].title, "Planning");
    EXPECT_EQ(iso(before[0].end), "2026-11-26T09:30:00Z");
    EXPECT_EQ(before[0].notes, longNotes);
}

TEST(ICalendarStore, FindsEventsThatBeganBeforeTheRangeByTheirDuration) {
    struct Case {
        const char* what;
        std::string event;
        bool found;
    };
    auto lasting = [](const char* duration) {
        return "BEGIN:VEVENT\r\nUID:x\r\nDTSTART:20261117T090000Z\r\nDURATION:" + std::string(duration) +
               "\r\nEND:VEVENT\r\n";
    };
    const std::vector<Case> cases = {
        {"a two-week event from ten days before", lasting("P2W"), true},
        {"days and hours", lasting("P9DT23H"), true},
        {"hours only", lasting("PT240H"), true},
        {"ending before the range", lasting("P9D"), false},
        {"a negative duration", lasting("-P20D"), false},
        {"a duration that does not read", lasting("P1Y"), false},
        {"a moved occurrence that lasts ten days",
         "BEGIN:VEVENT\r\nUID:x\r\nDTSTART:20260101T090000Z\r\nDURATION:PT1H\r\nRRULE:FREQ=YEARLY;COUNT=2\r\n"
         "END:VEVENT\r\nBEGIN:VEVENT\r\nUID:x\r\nRECURRENCE-ID:20260101T090000Z\r\n"
         "DTSTART:20261117T090000Z\r\nDURATION:P10D\r\nEND:VEVENT\r\n",
         true},
    };
    for (const auto& c : cases) {
        auto events = occurrences(calendar(c.event), "2026-11-27T00:00:00Z", "2026-11-28T00:00:00Z");
        EXPECT_EQ(!events.empty(), c.found) << c.what;
    }
}

TEST(ICalendarStore, ReadsUtcFloatingAndAllDayTimes) {
    auto text = calendar(
        simpleEvent("utc", "20261127T090000Z") + simpleEvent("floating", "20261127T090000") +
        "BEGIN:VEVENT\r\nUID:allday\r\nDTSTART;VALUE=DATE:20261127\r\nSUMMARY:Holiday\r\nEND:VEVENT\r\n"
        "BEGIN:VEVENT\r\nUID:ny\r\nDTSTART;TZID=America/New_York:20261127T090000\r\n"
        "DURATION:PT1H\r\nEND:VEVENT\r\n");
    auto events = occurrences(text, "2026-11-26T12:00:00Z", "2026-11-28T00:00:00Z", "Europe/Berlin");
    ASSERT_EQ(events.size(), 4u);
    std::map<std::string, CalendarEvent> byID;
    for (const auto& e : events) {
        byID[e.calendarItemID] = e;
    }
    EXPECT_EQ(iso(byID["utc"].start), "2026-11-27T09:00:00Z");
    EXPECT_EQ(iso(byID["floating"].start), "2026-11-27T08:00:00Z"); // 09:00 in Berlin
    EXPECT_TRUE(byID["allday"].isAllDay);
    EXPECT_EQ(iso(byID["allday"].start), "2026-11-26T23:00:00Z");
    EXPECT_EQ(iso(byID["allday"].end), "2026-11-27T23:00:00Z");
    EXPECT_EQ(iso(byID["ny"].start), "2026-11-27T14:00:00Z"); // from the zone database, no VTIMEZONE
}

TEST(ICalendarStore, ReadsParticipantsAndMarksTheCurrentUser) {
    auto text = calendar(simpleEvent("p", "20261127T090000Z",
                                     "ORGANIZER;CN=Boss:mailto:boss@example.com\r\n"
                                     "ATTENDEE;CN=\"Doe, Jane\";PARTSTAT=ACCEPTED:mailto:jane@example.com\r\n"
                                     "ATTENDEE;CUTYPE=ROOM;CN=Room 4:mailto:room4@example.com\r\n"
                                     "ATTENDEE;PARTSTAT=DECLINED;CN=Me:MAILTO:Me@Example.com\r\n"
                                     "ATTENDEE;CUTYPE=GROUP;PARTSTAT=TENTATIVE:mailto:team@example.com\r\n"));
    auto events =
        occurrences(text, "2026-11-27T00:00:00Z", "2026-11-28T00:00:00Z", "UTC", {"me@example.com"});
    ASSERT_EQ(events.size(), 1u);
    const auto& e = events[0];
    ASSERT_EQ(e.attendees.size(), 4u);
    EXPECT_EQ(e.organizer->name, "Boss");
    EXPECT_EQ(e.organizer->url, "mailto:boss@example.com");
    EXPECT_EQ(e.attendees[0].name, "Doe, Jane");
    EXPECT_EQ(e.attendees[0].status, Platform::ParticipantStatus::accepted);
    EXPECT_EQ(e.attendees[0].type, Platform::ParticipantType::person);
    EXPECT_EQ(e.attendees[1].type, Platform::ParticipantType::room);
    EXPECT_EQ(e.attendees[1].status, Platform::ParticipantStatus::pending);
    EXPECT_TRUE(e.attendees[2].isCurrentUser);
    EXPECT_EQ(e.attendees[2].status, Platform::ParticipantStatus::declined);
    EXPECT_EQ(e.attendees[3].type, Platform::ParticipantType::group);
    EXPECT_FALSE(e.organizer->isCurrentUser);
}

TEST(ICalendarStore, ReadsUrlLocationAndBothDescriptions) {
    auto text =
        calendar(simpleEvent("d", "20261127T090000Z",
                             "URL:https://example.com/e\r\nLOCATION:Room 4\\, floor 2\r\n"
                             "DESCRIPTION:Line one\\nJoin: https://meet.google.com/abc-defg-hij\r\n"
                             "X-ALT-DESC;FMTTYPE=text/html:<p>Line one</p>\r\n"
                             "STATUS:TENTATIVE\r\n") +
                 simpleEvent("h", "20261127T100000Z", "X-ALT-DESC;FMTTYPE=text/html:<b>Only HTML</b>\r\n"));
    auto events = occurrences(text, "2026-11-27T00:00:00Z", "2026-11-28T00:00:00Z");
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].url, "https://example.com/e");
    EXPECT_EQ(events[0].location, "Room 4, floor 2");
    EXPECT_EQ(events[0].notes, "Line one\nJoin: https://meet.google.com/abc-defg-hij");
    EXPECT_EQ(events[0].htmlNotes, "<p>Line one</p>");
    EXPECT_EQ(events[0].status, Platform::EventStatus::tentative);
    EXPECT_EQ(events[1].notes, "<b>Only HTML</b>");
    EXPECT_FALSE(events[1].htmlNotes);
}

TEST(ICalendarStore, StopsAnEndlessRuleAtTheEndOfTheRangeAndJumpsOverOldYears) {
    auto text =
        calendar("BEGIN:VEVENT\r\nUID:old\r\nDTSTART:20000103T090000Z\r\nDURATION:PT15M\r\n"
                 "RRULE:FREQ=DAILY\r\nEND:VEVENT\r\n"
                 "BEGIN:VEVENT\r\nUID:fast\r\nDTSTART:19900101T000000Z\r\nRRULE:FREQ=MINUTELY;INTERVAL=30\r\n"
                 "END:VEVENT\r\n");
    auto events = occurrences(text, "2026-11-27T00:00:00Z", "2026-11-29T00:00:00Z");
    int daily = 0;
    int halfHourly = 0;
    for (const auto& e : events) {
        (e.calendarItemID == "old" ? daily : halfHourly)++;
    }
    EXPECT_EQ(daily, 2);
    EXPECT_EQ(halfHourly, 96);
}

TEST(ICalendarStore, RejectsTextThatIsNotICalendar) {
    for (const char* bad : {"<html>Sign in</html>", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nEND:VCALENDAR\r\n",
                            "BEGIN:VEVENT\r\nEND:VEVENT\r\n", "BEGIN:VCALENDAR\r\n", ""}) {
        EXPECT_THROW(ICalendarStore::occurrencesInText(bad, "c", at("2026-11-27T00:00:00Z"),
                                                       at("2026-11-28T00:00:00Z"), "UTC", {}),
                     std::runtime_error)
            << bad;
    }
}

struct ICalendarStoreFolders : ::testing::Test {
    Support::MainLoop loop;
    Fakes::TempFolder temp;

    template <typename T> T wait(Support::Task<T> task) {
        for (int i = 0; i < 500 && !task.isDone(); ++i) {
            loop.runOne(10);
        }
        EXPECT_TRUE(task.isDone());
        return task.get();
    }
    ICalendarStore::Options options(std::vector<std::string> sources) {
        ICalendarStore::Options o;
        o.sources = std::move(sources);
        o.timeZoneID = "UTC";
        o.cacheFolder = temp.path / "cache";
        o.watchForChanges = false;
        return o;
    }
};

TEST_F(ICalendarStoreFolders, ReadsVdirCalendarsWithTheirNamesColoursAndKinds) {
    temp.write("account@example.com/work/displayname", "Work\n");
    temp.write("account@example.com/work/color", "#3a87adff\n");
    temp.write("account@example.com/work/a.ics", calendar(simpleEvent("a", "20261127T090000Z")));
    temp.write("account@example.com/work/b.ics", calendar(simpleEvent("b", "20261127T100000Z")));
    temp.write("account@example.com/home/c.ics", calendar(simpleEvent("c", "20261127T110000Z")));
    temp.write("single.ics", "BEGIN:VCALENDAR\r\nX-WR-CALNAME:Team days\r\n" +
                                 simpleEvent("d", "20261127T120000Z") + "END:VCALENDAR\r\n");
    ICalendarStore store(
        options({(temp.path / "account@example.com").string(), (temp.path / "single.ics").string()}));
    auto calendars = store.calendars();
    ASSERT_EQ(calendars.size(), 3u);
    EXPECT_EQ(calendars[0].title, "home");
    EXPECT_EQ(calendars[0].sourceType, Platform::CalendarSourceType::local);
    EXPECT_EQ(calendars[1].title, "Work");
    EXPECT_EQ(calendars[1].colorHex, "#3A87AD");
    EXPECT_EQ(calendars[1].sourceType, Platform::CalendarSourceType::calDAV);
    EXPECT_EQ(calendars[1].sourceTitle, "account@example.com");
    EXPECT_EQ(calendars[2].title, "Team days");
    auto events =
        wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {calendars[1].id}));
    EXPECT_EQ(events.size(), 2u);
    EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 4u);
}

TEST_F(ICalendarStoreFolders, ReadsAFileInPiecesWhereverALineCrossesFromOneToTheNext) {
    // A file is read a megabyte at a time: the event's lines, and the BOM, land on every side of the
    // boundary.
    const std::size_t piece = 1 << 20;
    for (std::size_t shift : {0u, 1u, 2u, 5u, 13u, 30u, 80u}) {
        std::string head = "\xEF\xBB\xBF"
                           "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nX-PADDING:";
        std::string event = simpleEvent("e", "20261127T090000Z", "DESCRIPTION:across\r\n");
        head += std::string(piece - head.size() - 2 - shift, 'x') + "\r\n";
        temp.write("big.ics", head + event + "END:VCALENDAR"); // and no line end at the very end
        ICalendarStore store(options({(temp.path / "big.ics").string()}));
        auto events = wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {}));
        ASSERT_EQ(events.size(), 1u) << shift;
        EXPECT_EQ(events[0].notes, "across") << shift;
    }
}

TEST_F(ICalendarStoreFolders, ReadsAFileThatChangedUnnoticedAsItIsNow) {
    // The store keeps only an index of a file and reads the blocks near a range again when asked: a file
    // rewritten without a change notification (a watch not yet set, a network folder) must not be read
    // through the old index.
    temp.write("cal.ics", calendar(simpleEvent("first", "20261127T090000Z")));
    ICalendarStore store(options({(temp.path / "cal.ics").string()}));
    auto range = [&] {
        return wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {}));
    };
    auto before = range();
    ASSERT_EQ(before.size(), 1u);
    EXPECT_EQ(before[0].calendarItemID, "first");
    temp.write("cal.ics", calendar(simpleEvent("an-event-with-a-longer-uid", "20261127T100000Z") +
                                   simpleEvent("second", "20261127T110000Z")));
    std::vector<std::string> uids;
    for (const auto& e : range()) {
        uids.push_back(e.calendarItemID);
    }
    std::sort(uids.begin(), uids.end());
    EXPECT_EQ(uids, (std::vector<std::string>{"an-event-with-a-longer-uid", "second"}));
}

TEST_F(ICalendarStoreFolders, ABrokenFileMakesOnlyItsOwnCalendarUnreadableAndIsLoggedOnce) {
    Support::LogCapture logs;
    temp.write("good/a.ics", calendar(simpleEvent("a", "20261127T090000Z")));
    temp.write("bad/a.ics", calendar(simpleEvent("b", "20261127T090000Z")));
    temp.write("bad/broken.ics", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nEND:VCALENDAR\r\n");
    ICalendarStore store(options(
        {(temp.path / "good").string(), (temp.path / "bad").string(), (temp.path / "missing.ics").string()}));
    auto calendars = store.calendars();
    ASSERT_EQ(calendars.size(), 3u);
    EXPECT_TRUE(calendars[0].isReadable);
    EXPECT_FALSE(calendars[1].isReadable);
    EXPECT_NE(calendars[1].problem.find("broken.ics"), std::string::npos);
    EXPECT_FALSE(calendars[2].isReadable);
    auto events = wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {}));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].calendarItemID, "a");
    store.calendars();
    EXPECT_EQ(logs.messages("calendarStore").size(), 2u);
}

TEST_F(ICalendarStoreFolders, TellsObserversOnceWhenTheFilesChange) {
    temp.write("cal/a.ics", calendar(simpleEvent("a", "20261127T090000Z")));
    Support::VirtualScheduler scheduler(loop, at("2026-11-27T08:00:00Z"));
    auto o = options({(temp.path / "cal").string()});
    o.watchForChanges = true;
    o.scheduler = &scheduler;
    ICalendarStore store(o);
    int changes = 0;
    auto sub = store.observeChanges([&] { ++changes; });
    EXPECT_EQ(store.calendars().size(), 1u);
    temp.write("cal/b.ics", calendar(simpleEvent("b", "20261127T100000Z")));
    temp.write("cal/c.ics", calendar(simpleEvent("c", "20261127T110000Z")));
    for (int i = 0; i < 20; ++i) {
        loop.runOne(5);
    }
    EXPECT_EQ(changes, 0); // settling
    scheduler.advance(Support::seconds(1));
    for (int i = 0; i < 100 && changes == 0; ++i) {
        loop.runOne(10); // the files are scanned on the pool before the observers hear of them
    }
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(store.cachedFileCount(), 3u);
    EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 3u);
}

struct SubscriptionServer {
    std::atomic<int> requests{0};
    std::atomic<int> notModified{0};
    std::string body;
    std::string etag = "\"v1\"";
    std::mutex mutex;
    Fakes::LoopbackServer loopback; // last: it stops before the state its handler uses goes

    SubscriptionServer() {
        loopback.server.Get("/cal.ics", [this](const httplib::Request& req, httplib::Response& res) {
            ++requests;
            std::lock_guard lock(mutex);
            if (req.get_header_value("If-None-Match") == etag) {
                ++notModified;
                res.status = 304;
                return;
            }
            res.set_header("ETag", etag);
            res.set_content(body, "text/calendar");
        });
        loopback.start();
    }
    void serve(std::string newBody, std::string newEtag) {
        std::lock_guard lock(mutex);
        body = std::move(newBody);
        etag = std::move(newEtag);
    }
    std::string url() const { return loopback.url("/cal.ics"); }
};

TEST_F(ICalendarStoreFolders, DownloadsSubscriptionsWithConditionalRequestsAndKeepsAGoodCopy) {
    Support::LogCapture logs;
    SubscriptionServer server;
    server.serve("BEGIN:VCALENDAR\r\nX-WR-CALNAME:Holidays\r\n" + simpleEvent("s", "20261127T090000Z") +
                     "END:VCALENDAR\r\n",
                 "\"v1\"");
    ICalendarStore store(options({server.url()}));
    EXPECT_FALSE(store.calendars()[0].isReadable); // not downloaded yet
    int changes = 0;
    auto sub = store.observeChanges([&] { ++changes; });
    wait(store.refreshSubscriptions());
    EXPECT_EQ(changes, 1);
    auto calendars = store.calendars();
    ASSERT_TRUE(calendars[0].isReadable);
    EXPECT_EQ(calendars[0].title, "Holidays");
    EXPECT_EQ(calendars[0].sourceType, Platform::CalendarSourceType::subscribed);

    wait(store.refreshSubscriptions());
    EXPECT_EQ(server.notModified.load(), 1);
    EXPECT_EQ(changes, 1);
    wait(store.refreshSubscriptions(true)); // fresh: no request at all
    EXPECT_EQ(server.requests.load(), 2);

    server.serve("<html>Please sign in</html>", "\"v2\"");
    wait(store.refreshSubscriptions());
    EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 1u);
    EXPECT_TRUE(logs.contains("not a calendar"));

    server.serve(calendar(simpleEvent("s", "20261127T090000Z") + simpleEvent("t", "20261127T100000Z")),
                 "\"v3\"");
    wait(store.refreshSubscriptions());
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 2u);
}

TEST(ICalendarStoreOptions, ReadsSourcesAndAddressesFromTheDefaults) {
    Support::InMemoryUserDefaults defaults;
    defaults.set("calendar.sources",
                 Support::DefaultsValue(std::vector<std::string>{" ~/cal ", "", "https://x/y.ics"}));
    defaults.setString("calendar.userEmails", "me@example.com\nme@work.example\n");
    auto o = ICalendarStore::optionsFromDefaults(defaults, "Europe/Berlin");
    EXPECT_EQ(o.sources, (std::vector<std::string>{"~/cal", "https://x/y.ics"}));
    EXPECT_EQ(o.userEmails, (std::vector<std::string>{"me@example.com", "me@work.example"}));
}

TEST(ICalendarStore, ReadsEachSpellingOfAZoneWithoutItsBlockAcrossTheChangeOfSummerTime) {
    struct Case {
        const char* tzid;
        std::vector<std::string> starts; // 22 Oct, 29 Oct, 5 Nov at 10:00 in the zone
    } cases[] = {
        {"America/New_York", {"2026-10-22T14:00:00Z", "2026-10-29T14:00:00Z", "2026-11-05T15:00:00Z"}},
        {"\"Pacific Standard Time\"",
         {"2026-10-22T17:00:00Z", "2026-10-29T17:00:00Z", "2026-11-05T18:00:00Z"}},
        {"W. Europe Standard Time", {"2026-10-22T08:00:00Z", "2026-10-29T09:00:00Z", "2026-11-05T09:00:00Z"}},
        {"/mozilla.org/20050126_1/Europe/Berlin",
         {"2026-10-22T08:00:00Z", "2026-10-29T09:00:00Z", "2026-11-05T09:00:00Z"}},
        {"/freeassociation.sourceforge.net/Tzfile/Europe/Berlin",
         {"2026-10-22T08:00:00Z", "2026-10-29T09:00:00Z", "2026-11-05T09:00:00Z"}},
        {"/softwarestudio.org/Olson_20011030_5/America/New_York",
         {"2026-10-22T14:00:00Z", "2026-10-29T14:00:00Z", "2026-11-05T15:00:00Z"}},
    };
    for (const auto& c : cases) {
        auto text = calendar("BEGIN:VEVENT\r\nUID:w\r\nDTSTAMP:20261101T000000Z\r\nDTSTART;TZID=" +
                             std::string(c.tzid) + ":20261022T100000\r\nDURATION:PT30M\r\n" +
                             "RRULE:FREQ=WEEKLY;COUNT=3\r\nSUMMARY:Sync\r\nEND:VEVENT\r\n");
        std::vector<std::string> starts;
        for (const auto& e : occurrences(text, "2026-10-20T00:00:00Z", "2026-11-10T00:00:00Z", "UTC")) {
            starts.push_back(iso(e.start));
            EXPECT_FALSE(e.unknownTimeZone) << c.tzid;
        }
        EXPECT_EQ(starts, c.starts) << c.tzid;
    }
}

TEST(ICalendarStore, KeepsTheFilesOwnZoneBlockWhenItContradictsTheZoneDatabase) {
    // A block named like a database zone but with other rules: what the writer meant is its block.
    for (const std::string tzid : {"Europe/Berlin", "Pacific Standard Time"}) {
        auto text = calendar("BEGIN:VTIMEZONE\r\nTZID:" + tzid +
                             "\r\nBEGIN:STANDARD\r\nTZOFFSETFROM:+0500\r\nTZOFFSETTO:+0500\r\n"
                             "DTSTART:19700101T000000\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n"
                             "BEGIN:VEVENT\r\nUID:b\r\nDTSTART;TZID=\"" +
                             tzid + "\":20261126T100000\r\nDURATION:PT30M\r\nEND:VEVENT\r\n");
        auto events = occurrences(text, "2026-11-26T00:00:00Z", "2026-11-27T00:00:00Z", "UTC");
        ASSERT_EQ(events.size(), 1u) << tzid;
        EXPECT_EQ(iso(events[0].start), "2026-11-26T05:00:00Z") << tzid;
    }
}

TEST(ICalendarStore, ReadsAnUnknownZoneAsLocalTimeAndSaysWhichZoneItWas) {
    auto text = calendar("BEGIN:VEVENT\r\nUID:u\r\nDTSTART;TZID=Mars/Olympus_Mons:20261126T100000\r\n"
                         "DTEND;TZID=Mars/Olympus_Mons:20261126T103000\r\nEND:VEVENT\r\n" +
                         simpleEvent("known", "20261126T120000Z"));
    auto events = occurrences(text, "2026-11-26T00:00:00Z", "2026-11-27T00:00:00Z", "Europe/Berlin");
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(iso(events[0].start), "2026-11-26T09:00:00Z"); // 10:00 in Berlin
    EXPECT_EQ(iso(events[0].end), "2026-11-26T09:30:00Z");
    EXPECT_EQ(events[0].unknownTimeZone, "Mars/Olympus_Mons");
    EXPECT_FALSE(events[1].unknownTimeZone);
}

TEST(ICalendarStore, CollectsConferenceLinksVideoFirstThenTheVendorsPropertiesAndOverridesInheritThem) {
    auto text = calendar(
        "BEGIN:VEVENT\r\nUID:c\r\nDTSTART:20261126T100000Z\r\nDURATION:PT30M\r\nRRULE:FREQ=DAILY;COUNT=2\r\n"
        "CONFERENCE;VALUE=URI;FEATURE=PHONE;LABEL=Dial in:tel:+1-555-0100,,123#\r\n"
        "X-MICROSOFT-SKYPETEAMSMEETINGURL:https://teams.microsoft.com/l/meetup-join/abc\r\n"
        "CONFERENCE;VALUE=URI;FEATURE=AUDIO,VIDEO:https://zoom.us/j/1234567890\r\n"
        "X-GOOGLE-CONFERENCE:https://meet.google.com/abc-defg-hij\r\n"
        "CONFERENCE;VALUE=URI:https://example.com/unlabelled\r\nEND:VEVENT\r\n"
        "BEGIN:VEVENT\r\nUID:c\r\nRECURRENCE-ID:20261127T100000Z\r\nDTSTART:20261127T110000Z\r\n"
        "DURATION:PT30M\r\nSUMMARY:Moved\r\nEND:VEVENT\r\n");
    auto events = occurrences(text, "2026-11-26T00:00:00Z", "2026-11-28T00:00:00Z", "UTC");
    ASSERT_EQ(events.size(), 2u);
    const std::vector<std::string> expected = {
        "https://zoom.us/j/1234567890", "https://example.com/unlabelled",
        "https://teams.microsoft.com/l/meetup-join/abc", "https://meet.google.com/abc-defg-hij",
        "tel:+1-555-0100,,123#"};
    EXPECT_EQ(events[0].conferenceURLs, expected);
    EXPECT_EQ(events[1].conferenceURLs, expected); // the moved occurrence keeps its series' links
}

TEST(ICalendarStore, MarksAnEventWhoseDateOrDurationNoCalendarMeansAndKeepsItsTimesInRange) {
    struct Case {
        const char* name;
        std::string event;
        bool outOfRange;
    } cases[] = {
        {"a duration of two million years", "DTSTART:20261127T090000Z\r\nDURATION:P99999999W\r\n", true},
        {"an end in the year 9999", "DTSTART:20261127T090000Z\r\nDTEND:99991231T000000Z\r\n", true},
        {"an end after 2200", "DTSTART:20261127T090000Z\r\nDTEND:22000101T000100Z\r\n", true},
        {"a six-year duration", "DTSTART:20261127T090000Z\r\nDURATION:P2200D\r\n", true},
        {"a start before 1900 running to now", "DTSTART:18991231T000000Z\r\nDTEND:20261128T000000Z\r\n",
         true},
        {"a week-long conference", "DTSTART:20261125T090000Z\r\nDURATION:P7D\r\n", false},
        {"a daily series begun in 1899", "DTSTART:18990101T090000Z\r\nDURATION:PT1H\r\nRRULE:FREQ=DAILY\r\n",
         false},
    };
    for (const auto& c : cases) {
        auto text = calendar("BEGIN:VEVENT\r\nUID:x\r\n" + c.event + "SUMMARY:X\r\nEND:VEVENT\r\n");
        auto events = occurrences(text, "2026-11-27T00:00:00Z", "2026-11-28T00:00:00Z", "UTC");
        ASSERT_EQ(events.size(), 1u) << c.name;
        EXPECT_EQ(events[0].timesOutOfRange, c.outOfRange) << c.name;
        EXPECT_GE(events[0].start, at("1900-01-01T00:00:00Z")) << c.name;
        EXPECT_LE(events[0].end, at("2200-01-01T00:00:00Z")) << c.name;
        EXPECT_LE(events[0].start, events[0].end) << c.name;
    }
}

TEST_F(ICalendarStoreFolders, ForgetsTheScansOfFilesThatWereDeleted) {
    temp.write("cal/a.ics", calendar(simpleEvent("a", "20261127T090000Z")));
    temp.write("cal/b.ics", calendar(simpleEvent("b", "20261127T100000Z")));
    Support::VirtualScheduler scheduler(loop, at("2026-11-27T08:00:00Z"));
    auto o = options({(temp.path / "cal").string()});
    o.watchForChanges = true;
    o.scheduler = &scheduler;
    ICalendarStore store(o);
    EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 2u);
    EXPECT_EQ(store.cachedFileCount(), 2u);
    fs::remove(temp.path / "cal/b.ics");
    for (int i = 0; i < 20; ++i) {
        loop.runOne(5);
    }
    EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 1u);
    EXPECT_EQ(store.cachedFileCount(), 1u);
}

TEST(ICalendarStoreQuitting, QuitsAtOnceWhileASubscriptionDownloadsAndTouchesNothingAfterwards) {
    std::atomic<bool> asked{false};
    std::atomic<bool> answered{false};
    // The server answers only when the test lets it.
    Fakes::LoopbackServer server;
    server.server.Get("/cal.ics", [&](const httplib::Request&, httplib::Response& res) {
        asked = true;
        server.waitForRelease();
        answered = true;
        res.set_content(calendar(simpleEvent("s", "20261127T090000Z")), "text/calendar");
    });
    server.start();
    Fakes::TempFolder temp;
    bool answeredBeforeQuitEnded = false;
    {
        Support::MainLoop loop;
        Support::VirtualScheduler scheduler(loop, at("2026-11-27T08:00:00Z"));
        ICalendarStore::Options o;
        o.sources = {server.url("/cal.ics")};
        o.cacheFolder = temp.path / "cache";
        o.scheduler = &scheduler;
        o.watchForChanges = false;
        auto store = std::make_unique<ICalendarStore>(o);
        for (int i = 0; i < 1000 && !asked; ++i) {
            loop.runOne(10);
        }
        ASSERT_TRUE(asked);
        store.reset();
        loop.runUntilIdle();
    }
    Support::BlockingWork::drain(); // what the host's exit waits for
    answeredBeforeQuitEnded = answered;
    server.release();
    EXPECT_FALSE(answeredBeforeQuitEnded);
    EXPECT_FALSE(fs::exists(temp.path / "cache" / "subscriptions")); // nothing written after the quit
}

TEST_F(ICalendarStoreFolders, LogsAnUnknownZoneOncePerCalendar) {
    Support::LogCapture logs;
    temp.write("cal/a.ics",
               calendar("BEGIN:VEVENT\r\nUID:u\r\nDTSTART;TZID=Mars/Olympus_Mons:20261127T100000\r\n"
                        "DURATION:PT30M\r\nRRULE:FREQ=HOURLY;COUNT=3\r\nEND:VEVENT\r\n"));
    ICalendarStore store(options({(temp.path / "cal").string()}));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(wait(store.events(at("2026-11-27T00:00:00Z"), at("2026-11-28T00:00:00Z"), {})).size(), 3u);
    }
    auto messages = logs.messages("calendarStore");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find("time zone 'Mars/Olympus_Mons' not known"), std::string::npos) << messages[0];
}

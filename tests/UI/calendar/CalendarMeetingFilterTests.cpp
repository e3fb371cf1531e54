#include "UI/calendar/CalendarMeetingFilter.h"

#include <gtest/gtest.h>

using UI::CalendarAttendee;
using UI::CalendarEventFields;
using UI::CalendarMeetingFilter;
using UI::CalendarParticipantStatus;
using DropRule = CalendarMeetingFilter::DropRule;

namespace {

const Support::Date nine = Support::dateFromUnix(1795770000); // 2026-11-27T09:00:00Z

CalendarEventFields zoomEvent(std::string id = "E1", Support::Date start = nine) {
    CalendarEventFields e;
    e.calendarItemID = std::move(id);
    e.calendarID = "work";
    e.title = "  Weekly sync \n";
    e.start = start;
    e.end = start + Support::seconds(1800);
    e.occurrenceDate = start;
    e.location = "https://zoom.us/j/1234567890";
    e.notes = "Agenda: numbers\nMeeting ID: 123 456 7890";
    return e;
}

CalendarAttendee me(CalendarParticipantStatus status) {
    return CalendarAttendee{"Me", "me@example.com", CalendarAttendee::Kind::person, status, true};
}

} // namespace

TEST(CalendarMeetingFilter, BuildsAMeetingWithItsOccurrenceKeyTrimmedTitleAndExcerpt) {
    auto event = zoomEvent();
    event.occurrenceDate = nine + Support::seconds(0.6);
    auto meeting = CalendarMeetingFilter::meeting(event, {});
    ASSERT_TRUE(meeting);
    EXPECT_EQ(meeting->occurrenceKey, "E1|1795770001");
    EXPECT_EQ(meeting->title, "Weekly sync");
    EXPECT_EQ(meeting->notesExcerpt, "Agenda: numbers");
    EXPECT_EQ(meeting->link.webURL.string(), "https://zoom.us/j/1234567890");
    EXPECT_EQ(meeting->myStatus, CalendarParticipantStatus::unknown);
}

TEST(CalendarMeetingFilter, DropsEachEventThatFailsARuleAndNamesTheRule) {
    struct Case {
        const char* name;
        std::function<void(CalendarEventFields&)> change;
        DropRule rule;
    } cases[] = {
        {"out of range, even with everything else right", [](auto& e) { e.timesOutOfRange = true; },
         DropRule::outOfRange},
        {"all day", [](auto& e) { e.isAllDay = true; }, DropRule::allDay},
        {"canceled", [](auto& e) { e.status = CalendarEventFields::Status::canceled; }, DropRule::canceled},
        {"excluded", [](auto& e) { e.calendarID = "hidden"; }, DropRule::excludedCalendar},
        {"zero length", [](auto& e) { e.end = e.start; }, DropRule::notAfterStart},
        {"declined", [](auto& e) { e.attendees = {me(CalendarParticipantStatus::declined)}; },
         DropRule::declined},
        {"no link",
         [](auto& e) {
             e.location = "Room 4";
             e.notes = "https://example.com/j/1234567890";
         },
         DropRule::noLink},
        {"only decoy conference links",
         [](auto& e) {
             e.location = "Room 4";
             e.notes.reset();
             e.conferenceURLs = {"tel:+1-555-0100,,123456#", "https://example.com/call/1234567890"};
         },
         DropRule::noLink},
    };
    for (const auto& c : cases) {
        auto event = zoomEvent();
        c.change(event);
        auto decision = CalendarMeetingFilter::decide(event, {"hidden"});
        EXPECT_FALSE(decision.meeting) << c.name;
        EXPECT_EQ(decision.droppedBy, c.rule) << c.name;
    }
}

TEST(CalendarMeetingFilter, TakesTheUsersResponseFromTheFirstCurrentUserOrTheOrganizer) {
    auto event = zoomEvent();
    event.attendees = {CalendarAttendee{"A", std::nullopt, CalendarAttendee::Kind::person,
                                        CalendarParticipantStatus::declined, false},
                       me(CalendarParticipantStatus::tentative), me(CalendarParticipantStatus::declined)};
    EXPECT_EQ(CalendarMeetingFilter::meeting(event, {})->myStatus, CalendarParticipantStatus::tentative);

    event.attendees.clear();
    event.organizer = me(CalendarParticipantStatus::unknown);
    EXPECT_EQ(CalendarMeetingFilter::meeting(event, {})->myStatus, CalendarParticipantStatus::accepted);
}

TEST(CalendarMeetingFilter, LooksForTheLinkInUrlThenLocationThenNotesThenHtml) {
    auto event = zoomEvent();
    event.url = Support::Url::parse("https://meet.google.com/abc-defg-hij");
    auto d = CalendarMeetingFilter::decide(event, {});
    EXPECT_EQ(d.linkSource, CalendarMeetingFilter::LinkSource::url);

    event.url = Support::Url::parse("https://example.com/");
    event.location = "";
    event.notes = "Join https://teams.microsoft.com/meet/123";
    d = CalendarMeetingFilter::decide(event, {});
    EXPECT_EQ(d.linkSource, CalendarMeetingFilter::LinkSource::notes);
    EXPECT_EQ(d.meeting->link.service, UI::MeetingService::teams);

    event.notes = "Join from the HTML";
    event.htmlNotes = "<a href=\"https://zoom.us/j/9876543210\">Join</a>";
    d = CalendarMeetingFilter::decide(event, {});
    EXPECT_EQ(d.linkSource, CalendarMeetingFilter::LinkSource::htmlNotes);
}

TEST(CalendarMeetingFilter, OrdersByStartThenKeyAndKeepsOneMeetingPerOccurrence) {
    auto later = zoomEvent("A", nine + Support::seconds(3600));
    auto b = zoomEvent("B");
    auto a = zoomEvent("A");
    auto copyOfA = zoomEvent("A");
    copyOfA.title = "Copy";
    auto meetings = CalendarMeetingFilter::meetings({later, b, a, copyOfA}, {});
    ASSERT_EQ(meetings.size(), 3u);
    EXPECT_EQ(meetings[0].occurrenceKey, "A|1795770000");
    EXPECT_EQ(meetings[0].title, "Weekly sync");
    EXPECT_EQ(meetings[1].occurrenceKey, "B|1795770000");
    EXPECT_EQ(meetings[2].occurrenceKey, "A|1795773600");

    auto decisions = CalendarMeetingFilter::decideAll({later, b, a, copyOfA}, {});
    EXPECT_EQ(decisions[3].droppedBy, DropRule::duplicate);
}

TEST(CalendarMeetingFilter, TakesAConferenceLinkAfterTheUrlAndBeforeTheLocationSkippingDecoys) {
    auto event = zoomEvent();
    event.location = "https://zoom.us/j/1111111111";
    event.conferenceURLs = {"tel:+1-555-0100", " https://meet.google.com/abc-defg-hij "};
    auto d = CalendarMeetingFilter::decide(event, {});
    EXPECT_EQ(d.linkSource, CalendarMeetingFilter::LinkSource::conference);
    EXPECT_EQ(d.meeting->link.service, UI::MeetingService::meet);
    EXPECT_EQ(UI::rawValue(*d.linkSource), "conference");

    event.url = Support::Url::parse("https://teams.microsoft.com/l/meetup-join/abc");
    d = CalendarMeetingFilter::decide(event, {});
    EXPECT_EQ(d.linkSource, CalendarMeetingFilter::LinkSource::url);
}

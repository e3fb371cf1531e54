#include "UI/calendar/CalendarMeetingCoding.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace UI;

namespace {

CalendarMeeting sample() {
    return CalendarMeeting{
        "E1|1795770000",
        "E1",
        std::string("ext-1"),
        "work",
        "Weekly sync",
        *Support::parseISO8601("2026-11-27T09:00:00Z"),
        *Support::parseISO8601("2026-11-27T09:30:00.5Z"),
        *MeetingLinkExtractor::classify("https://zoom.us/j/1234567890?pwd=x"),
        std::string("Agenda"),
        {CalendarAttendee{"Ana", "ana@example.com", CalendarAttendee::Kind::person,
                          CalendarParticipantStatus::tentative, false},
         CalendarAttendee{std::nullopt, std::nullopt, CalendarAttendee::Kind::room,
                          CalendarParticipantStatus::inProcess, false}},
        CalendarAttendee{"Me", "me@example.com", CalendarAttendee::Kind::person,
                         CalendarParticipantStatus::accepted, true},
        CalendarParticipantStatus::accepted,
    };
}

} // namespace

TEST(CalendarMeetingCoding, WritesTheFieldNamesOfTheTypesWithUtcDates) {
    auto json = toJson(sample());
    EXPECT_EQ(json["occurrenceKey"], "E1|1795770000");
    EXPECT_EQ(json["start"], "2026-11-27T09:00:00Z");
    EXPECT_EQ(json["link"]["service"], "zoom");
    EXPECT_EQ(json["link"]["nativeURL"], "zoommtg://zoom.us/join?action=join&confno=1234567890&pwd=x");
    EXPECT_EQ(json["attendees"][1]["name"], nullptr);
    EXPECT_EQ(json["attendees"][1]["status"], "inProcess");
    EXPECT_EQ(json["myStatus"], "accepted");
}

TEST(CalendarMeetingCoding, ReadsBackEveryFieldUnchanged) {
    auto meeting = sample();
    auto text = toJson(std::vector<CalendarMeeting>{meeting}).dump();
    auto back = meetingsFromJson(nlohmann::json::parse(text));
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0], meeting);

    meeting.externalID.reset();
    meeting.organizer.reset();
    meeting.notesExcerpt.reset();
    meeting.link = *MeetingLinkExtractor::classify("https://meet.google.com/abc-defg-hij");
    EXPECT_EQ(meetingFromJson(toJson(meeting)), meeting);
}

TEST(CalendarMeetingCoding, RejectsMissingOrMistypedFieldsWithTheFieldName) {
    auto json = toJson(sample());
    json.erase("start");
    try {
        meetingFromJson(json);
        FAIL() << "accepted a meeting without start";
    } catch (const CalendarMeetingCodingError& e) {
        EXPECT_NE(std::string(e.what()).find("start"), std::string::npos);
    }
    auto badLink = toJson(sample());
    badLink["link"]["service"] = "skype";
    EXPECT_THROW(meetingFromJson(badLink), CalendarMeetingCodingError);
    auto badDate = toJson(sample());
    badDate["end"] = "tomorrow";
    EXPECT_THROW(meetingFromJson(badDate), CalendarMeetingCodingError);
    EXPECT_THROW(meetingsFromJson(nlohmann::json::object()), CalendarMeetingCodingError);
}

TEST(CalendarMeetingCoding, ReadsUnknownStatusesAsUnknown) {
    auto json = toJson(sample());
    json["myStatus"] = "maybe";
    json["attendees"][0]["kind"] = "robot";
    auto meeting = meetingFromJson(json);
    EXPECT_EQ(meeting.myStatus, CalendarParticipantStatus::unknown);
    EXPECT_EQ(meeting.attendees[0].kind, CalendarAttendee::Kind::unknown);
}

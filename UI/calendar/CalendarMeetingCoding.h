// JSON coding of meetings and their parts, with the field names of the types ("occurrenceKey", "start",
// "link": {"service", "webURL", "nativeURL"}, ...), dates as ISO 8601 UTC text and absent optionals as null.
// Used by `vellmora meetings --json` and by every file that stores meetings. Decoding is strict: a missing
// or ill-typed field throws `CalendarMeetingCodingError` naming the field; unknown keys are ignored.
#pragma once

#include "UI/calendar/CalendarAttendee.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CustomMeetingApp.h"
#include "UI/calendar/MeetingLink.h"

#include <nlohmann/json_fwd.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace UI {

struct CalendarMeetingCodingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

nlohmann::json toJson(const MeetingLink& link);
nlohmann::json toJson(const CalendarAttendee& attendee);
nlohmann::json toJson(const CalendarMeeting& meeting);
nlohmann::json toJson(const std::vector<CalendarMeeting>& meetings);
nlohmann::json toJson(const CustomMeetingApp& app);

MeetingLink meetingLinkFromJson(const nlohmann::json& json);
CalendarAttendee attendeeFromJson(const nlohmann::json& json);
CalendarMeeting meetingFromJson(const nlohmann::json& json);
/// A JSON array of meetings.
std::vector<CalendarMeeting> meetingsFromJson(const nlohmann::json& json);
CustomMeetingApp customMeetingAppFromJson(const nlohmann::json& json);

} // namespace UI

#include "UI/calendar/CalendarMeetingCoding.h"

#include "Support/Time.h"

#include <nlohmann/json.hpp>

namespace UI {

namespace {

using nlohmann::json;

template <typename T> json optionalJson(const std::optional<T>& value) {
    return value ? json(*value) : json(nullptr);
}

const json& field(const json& object, const char* name) {
    if (!object.is_object()) {
        throw CalendarMeetingCodingError("expected an object holding \"" + std::string(name) + "\"");
    }
    auto it = object.find(name);
    if (it == object.end()) {
        throw CalendarMeetingCodingError("missing field \"" + std::string(name) + "\"");
    }
    return *it;
}

std::string stringField(const json& object, const char* name) {
    const auto& value = field(object, name);
    if (!value.is_string()) {
        throw CalendarMeetingCodingError("field \"" + std::string(name) + "\" is not a string");
    }
    return value.get<std::string>();
}

std::optional<std::string> optionalStringField(const json& object, const char* name) {
    auto it = object.find(name);
    if (it == object.end() || it->is_null()) {
        return std::nullopt;
    }
    if (!it->is_string()) {
        throw CalendarMeetingCodingError("field \"" + std::string(name) + "\" is not a string");
    }
    return it->get<std::string>();
}

Support::Date dateField(const json& object, const char* name) {
    auto text = stringField(object, name);
    auto date = Support::parseISO8601(text);
    if (!date) {
        throw CalendarMeetingCodingError("field \"" + std::string(name) +
                                         "\" is not an ISO 8601 date: " + text);
    }
    return *date;
}

Support::Url urlFromText(const std::string& text, const char* name) {
    auto url = Support::Url::parse(text);
    if (!url) {
        throw CalendarMeetingCodingError("field \"" + std::string(name) + "\" is not a URL: " + text);
    }
    return *url;
}

} // namespace

json toJson(const MeetingLink& link) {
    return json{{"service", std::string(rawValue(link.service))},
                {"webURL", link.webURL.string()},
                {"nativeURL", link.nativeURL ? json(link.nativeURL->string()) : json(nullptr)}};
}

json toJson(const CalendarAttendee& attendee) {
    return json{{"name", optionalJson(attendee.name)},
                {"email", optionalJson(attendee.email)},
                {"kind", std::string(rawValue(attendee.kind))},
                {"status", std::string(rawValue(attendee.status))},
                {"isCurrentUser", attendee.isCurrentUser}};
}

json toJson(const CalendarMeeting& meeting) {
    json attendees = json::array();
    for (const auto& a : meeting.attendees) {
        attendees.push_back(toJson(a));
    }
    return json{{"occurrenceKey", meeting.occurrenceKey},
                {"calendarItemID", meeting.calendarItemID},
                {"externalID", optionalJson(meeting.externalID)},
                {"calendarID", meeting.calendarID},
                {"title", meeting.title},
                {"start", Support::formatISO8601(meeting.start)},
                {"end", Support::formatISO8601(meeting.end)},
                {"link", toJson(meeting.link)},
                {"notesExcerpt", optionalJson(meeting.notesExcerpt)},
                {"attendees", std::move(attendees)},
                {"organizer", meeting.organizer ? toJson(*meeting.organizer) : json(nullptr)},
                {"myStatus", std::string(rawValue(meeting.myStatus))}};
}

json toJson(const std::vector<CalendarMeeting>& meetings) {
    json out = json::array();
    for (const auto& m : meetings) {
        out.push_back(toJson(m));
    }
    return out;
}

json toJson(const CustomMeetingApp& app) {
    return json{{"id", app.id},
                {"bundleId", app.bundleId},
                {"displayName", app.displayName},
                {"addedDate", Support::formatISO8601(app.addedDate)}};
}

MeetingLink meetingLinkFromJson(const json& object) {
    auto serviceText = stringField(object, "service");
    auto service = meetingServiceFromRaw(serviceText);
    if (!service) {
        throw CalendarMeetingCodingError("unknown meeting service \"" + serviceText + "\"");
    }
    std::optional<Support::Url> native;
    if (auto text = optionalStringField(object, "nativeURL")) {
        native = urlFromText(*text, "nativeURL");
    }
    return MeetingLink{*service, urlFromText(stringField(object, "webURL"), "webURL"), native};
}

CalendarAttendee attendeeFromJson(const json& object) {
    CalendarAttendee a;
    a.name = optionalStringField(object, "name");
    a.email = optionalStringField(object, "email");
    a.kind = attendeeKindFromRaw(optionalStringField(object, "kind").value_or(""))
                 .value_or(CalendarAttendee::Kind::unknown);
    a.status = participantStatusFromRaw(optionalStringField(object, "status").value_or(""))
                   .value_or(CalendarParticipantStatus::unknown);
    if (auto it = object.find("isCurrentUser"); it != object.end() && !it->is_null()) {
        if (!it->is_boolean()) {
            throw CalendarMeetingCodingError("field \"isCurrentUser\" is not a boolean");
        }
        a.isCurrentUser = it->get<bool>();
    }
    return a;
}

CalendarMeeting meetingFromJson(const json& object) {
    std::vector<CalendarAttendee> attendees;
    if (auto it = object.find("attendees"); object.is_object() && it != object.end() && !it->is_null()) {
        if (!it->is_array()) {
            throw CalendarMeetingCodingError("field \"attendees\" is not an array");
        }
        for (const auto& a : *it) {
            attendees.push_back(attendeeFromJson(a));
        }
    }
    std::optional<CalendarAttendee> organizer;
    if (auto it = object.find("organizer"); object.is_object() && it != object.end() && !it->is_null()) {
        organizer = attendeeFromJson(*it);
    }
    return CalendarMeeting{
        stringField(object, "occurrenceKey"),
        stringField(object, "calendarItemID"),
        optionalStringField(object, "externalID"),
        stringField(object, "calendarID"),
        stringField(object, "title"),
        dateField(object, "start"),
        dateField(object, "end"),
        meetingLinkFromJson(field(object, "link")),
        optionalStringField(object, "notesExcerpt"),
        std::move(attendees),
        std::move(organizer),
        participantStatusFromRaw(optionalStringField(object, "myStatus").value_or(""))
            .value_or(CalendarParticipantStatus::unknown),
    };
}

std::vector<CalendarMeeting> meetingsFromJson(const json& array) {
    if (!array.is_array()) {
        throw CalendarMeetingCodingError("expected an array of meetings");
    }
    std::vector<CalendarMeeting> out;
    out.reserve(array.size());
    for (const auto& m : array) {
        out.push_back(meetingFromJson(m));
    }
    return out;
}

CustomMeetingApp customMeetingAppFromJson(const json& object) {
    return CustomMeetingApp{stringField(object, "id"), stringField(object, "bundleId"),
                            stringField(object, "displayName"), dateField(object, "addedDate")};
}

} // namespace UI

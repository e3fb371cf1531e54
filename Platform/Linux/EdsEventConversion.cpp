#include "Platform/Linux/EdsEventConversion.h"

#include "Support/Text.h"

#include <libical/ical.h>

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace Platform {

namespace {

std::optional<std::string> textOf(const char* s) {
    if (!s || !*s) {
        return std::nullopt;
    }
    return std::string(s);
}

ParticipantStatus statusOf(icalproperty* prop, bool organizer) {
    auto* param = icalproperty_get_first_parameter(prop, ICAL_PARTSTAT_PARAMETER);
    if (!param) {
        return organizer ? ParticipantStatus::unknown : ParticipantStatus::pending;
    }
    switch (icalparameter_get_partstat(param)) {
    case ICAL_PARTSTAT_NEEDSACTION:
        return ParticipantStatus::pending;
    case ICAL_PARTSTAT_ACCEPTED:
        return ParticipantStatus::accepted;
    case ICAL_PARTSTAT_DECLINED:
        return ParticipantStatus::declined;
    case ICAL_PARTSTAT_TENTATIVE:
        return ParticipantStatus::tentative;
    case ICAL_PARTSTAT_DELEGATED:
        return ParticipantStatus::delegated;
    case ICAL_PARTSTAT_COMPLETED:
        return ParticipantStatus::completed;
    case ICAL_PARTSTAT_INPROCESS:
        return ParticipantStatus::inProcess;
    default:
        return ParticipantStatus::unknown;
    }
}

ParticipantType typeOf(icalproperty* prop) {
    auto* param = icalproperty_get_first_parameter(prop, ICAL_CUTYPE_PARAMETER);
    if (!param) {
        return ParticipantType::person; // an individual unless told otherwise
    }
    switch (icalparameter_get_cutype(param)) {
    case ICAL_CUTYPE_INDIVIDUAL:
        return ParticipantType::person;
    case ICAL_CUTYPE_GROUP:
        return ParticipantType::group;
    case ICAL_CUTYPE_RESOURCE:
        return ParticipantType::resource;
    case ICAL_CUTYPE_ROOM:
        return ParticipantType::room;
    default:
        return ParticipantType::unknown;
    }
}

CalendarParticipant participantOf(icalproperty* prop, bool organizer, const std::set<std::string>& mine) {
    CalendarParticipant p;
    p.url = textOf(organizer ? icalproperty_get_organizer(prop) : icalproperty_get_attendee(prop));
    if (auto* cn = icalproperty_get_first_parameter(prop, ICAL_CN_PARAMETER)) {
        p.name = textOf(icalparameter_get_cn(cn));
    }
    p.type = typeOf(prop);
    p.status = statusOf(prop, organizer);
    if (p.url) {
        auto lower = Support::Text::asciiLowercased(*p.url);
        p.isCurrentUser = lower.rfind("mailto:", 0) == 0 && mine.count(lower.substr(7)) > 0;
    }
    return p;
}

/// Whether a CONFERENCE property is for joining the call: one for video, or one that does not say.
bool isVideoConference(icalproperty* p) {
    auto* feature = icalproperty_get_first_parameter(p, ICAL_FEATURE_PARAMETER);
    if (!feature) {
        return true;
    }
    for (; feature; feature = icalproperty_get_next_parameter(p, ICAL_FEATURE_PARAMETER)) {
        const char* text = icalparameter_as_ical_string(feature);
        if (text && Support::Text::asciiLowercased(text).find("video") != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::int64_t secondsOf(icaltimetype t, icaltimezone* fallback) {
    if (t.is_date) {
        t.is_date = 0;
        t.hour = t.minute = t.second = 0;
        return icaltime_as_timet_with_zone(t, fallback);
    }
    const icaltimezone* zone = t.zone;
    if (!zone && !icaltime_is_utc(t)) {
        zone = fallback;
    }
    return icaltime_as_timet_with_zone(t, const_cast<icaltimezone*>(zone));
}

/// The RECURRENCE-ID with its TZID resolved through the zone database.
std::optional<std::int64_t> recurrenceOf(icalcomponent* c, icaltimezone* fallback) {
    auto* prop = icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY);
    if (!prop) {
        return std::nullopt;
    }
    auto t = icalproperty_get_recurrenceid(prop);
    if (icaltime_is_null_time(t)) {
        return std::nullopt;
    }
    if (!t.zone && !icaltime_is_utc(t) && !t.is_date) {
        if (auto* param = icalproperty_get_first_parameter(prop, ICAL_TZID_PARAMETER)) {
            if (const char* tzid = icalparameter_get_tzid(param)) {
                icaltimezone* zone = icaltimezone_get_builtin_timezone_from_tzid(tzid);
                if (!zone) {
                    zone = icaltimezone_get_builtin_timezone(tzid);
                }
                t.zone = zone;
            }
        }
    }
    return secondsOf(t, fallback);
}

} // namespace

std::optional<CalendarEvent> EdsEventConversion::event(ICalComponent* component, ICalTime* instanceStart,
                                                       ICalTime* instanceEnd) const {
    auto* c = static_cast<icalcomponent*>(i_cal_object_get_native(I_CAL_OBJECT(component)));
    auto* zone = userZone ? static_cast<icaltimezone*>(i_cal_object_get_native(I_CAL_OBJECT(userZone)))
                          : icaltimezone_get_utc_timezone();
    if (!c || !instanceStart) {
        return std::nullopt;
    }
    auto start = *static_cast<icaltimetype*>(i_cal_object_get_native(I_CAL_OBJECT(instanceStart)));
    if (icaltime_is_null_time(start)) {
        return std::nullopt;
    }
    std::optional<icaltimetype> end;
    if (instanceEnd) {
        end = *static_cast<icaltimetype*>(i_cal_object_get_native(I_CAL_OBJECT(instanceEnd)));
    }

    CalendarEvent e;
    e.calendarID = calendarID;
    auto uid = textOf(icalcomponent_get_uid(c));
    e.calendarItemID = uid.value_or("");
    e.externalID = uid;
    e.isAllDay = start.is_date != 0;
    auto startSeconds = secondsOf(start, zone);
    auto endSeconds = end && !icaltime_is_null_time(*end) ? secondsOf(*end, zone) : startSeconds;
    if (e.isAllDay && endSeconds <= startSeconds) {
        endSeconds = startSeconds + 86400;
    }
    if (!CalendarEvent::isWithinRange(startSeconds, endSeconds)) {
        e.timesOutOfRange = true;
        startSeconds =
            std::clamp(startSeconds, CalendarEvent::earliestUnixSeconds, CalendarEvent::latestUnixSeconds);
        endSeconds = std::clamp(endSeconds, startSeconds, CalendarEvent::latestUnixSeconds);
    }
    e.start = Support::dateFromUnix(static_cast<double>(startSeconds));
    e.end = Support::dateFromUnix(static_cast<double>(endSeconds));
    if (auto original = recurrenceOf(c, zone)) {
        e.occurrenceDate = Support::dateFromUnix(static_cast<double>(*original));
    }

    std::optional<std::string> description;
    // The call's own links, best first: CONFERENCE for video (or unlabelled), the vendors' properties, then
    // the other CONFERENCE values (audio, chat, ...).
    std::vector<std::string> videoConferences, vendorConferences, otherConferences;
    for (auto* p = icalcomponent_get_first_property(c, ICAL_ANY_PROPERTY); p;
         p = icalcomponent_get_next_property(c, ICAL_ANY_PROPERTY)) {
        switch (icalproperty_isa(p)) {
        case ICAL_SUMMARY_PROPERTY:
            e.title = textOf(icalproperty_get_summary(p)).value_or("");
            break;
        case ICAL_LOCATION_PROPERTY:
            e.location = textOf(icalproperty_get_location(p));
            break;
        case ICAL_DESCRIPTION_PROPERTY:
            if (!description) {
                description = textOf(icalproperty_get_description(p));
            }
            break;
        case ICAL_URL_PROPERTY:
            e.url = textOf(icalproperty_get_url(p));
            break;
        case ICAL_STATUS_PROPERTY:
            switch (icalproperty_get_status(p)) {
            case ICAL_STATUS_CONFIRMED:
                e.status = EventStatus::confirmed;
                break;
            case ICAL_STATUS_TENTATIVE:
                e.status = EventStatus::tentative;
                break;
            case ICAL_STATUS_CANCELLED:
                e.status = EventStatus::canceled;
                break;
            default:
                break;
            }
            break;
        case ICAL_ATTENDEE_PROPERTY:
            e.attendees.push_back(participantOf(p, false, userAddresses));
            break;
        case ICAL_ORGANIZER_PROPERTY:
            e.organizer = participantOf(p, true, userAddresses);
            break;
        case ICAL_CONFERENCE_PROPERTY:
            if (auto value = textOf(icalproperty_get_conference(p))) {
                (isVideoConference(p) ? videoConferences : otherConferences).push_back(std::move(*value));
            }
            break;
        case ICAL_X_PROPERTY: {
            const char* name = icalproperty_get_x_name(p);
            if (name && (strcasecmp(name, "X-GOOGLE-CONFERENCE") == 0 ||
                         strcasecmp(name, "X-MICROSOFT-SKYPETEAMSMEETINGURL") == 0)) {
                if (auto value = textOf(icalproperty_get_x(p))) {
                    vendorConferences.push_back(std::move(*value));
                }
            } else if (name && std::strcmp(name, "X-ALT-DESC") == 0) {
                auto* fmt = icalproperty_get_first_parameter(p, ICAL_FMTTYPE_PARAMETER);
                const char* type = fmt ? icalparameter_get_fmttype(fmt) : nullptr;
                if (type && Support::Text::asciiLowercased(type) == "text/html") {
                    e.htmlNotes = textOf(icalproperty_get_x(p));
                }
            }
            break;
        }
        default:
            break;
        }
    }
    for (auto* list : {&videoConferences, &vendorConferences, &otherConferences}) {
        e.conferenceURLs.insert(e.conferenceURLs.end(), list->begin(), list->end());
    }
    if (description) {
        e.notes = description;
    } else {
        e.notes = std::exchange(e.htmlNotes, std::nullopt);
    }
    return e;
}

std::optional<std::int64_t> EdsEventConversion::recurrenceID(ICalComponent* component) const {
    auto* c = static_cast<icalcomponent*>(i_cal_object_get_native(I_CAL_OBJECT(component)));
    auto* zone = userZone ? static_cast<icaltimezone*>(i_cal_object_get_native(I_CAL_OBJECT(userZone)))
                          : icaltimezone_get_utc_timezone();
    return c ? recurrenceOf(c, zone) : std::nullopt;
}

} // namespace Platform

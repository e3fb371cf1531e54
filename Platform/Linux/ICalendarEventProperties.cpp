#include "Platform/Linux/ICalendarEventProperties.h"

#include "Support/Text.h"

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
        return ParticipantType::person; // the default user type is an individual
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
        p.isCurrentUser = Support::Text::startsWith(lower, "mailto:") && mine.count(lower.substr(7)) > 0;
    }
    return p;
}

/// Whether a CONFERENCE property is for joining the call: one for video, or one that does not say.
bool isVideoConference(icalproperty* p) {
    auto* feature = icalproperty_get_first_parameter(p, ICAL_FEATURE_PARAMETER);
    if (!feature) {
        return true;
    }
    // FEATURE is a list ("AUDIO,VIDEO"), which libical keeps as one text.
    for (; feature; feature = icalproperty_get_next_parameter(p, ICAL_FEATURE_PARAMETER)) {
        const char* text = icalparameter_as_ical_string(feature);
        if (text && Support::Text::asciiLowercased(text).find("video") != std::string::npos) {
            return true;
        }
    }
    return false;
}

EventStatus eventStatusOf(icalproperty* p) {
    switch (icalproperty_get_status(p)) {
    case ICAL_STATUS_CONFIRMED:
        return EventStatus::confirmed;
    case ICAL_STATUS_TENTATIVE:
        return EventStatus::tentative;
    case ICAL_STATUS_CANCELLED:
        return EventStatus::canceled;
    default:
        return EventStatus::none;
    }
}

} // namespace

ICalendarEventProperties ICalendarEventProperties::of(icalcomponent* c,
                                                      const std::set<std::string>& userEmails) {
    ICalendarEventProperties t;
    t.uid = textOf(icalcomponent_get_uid(c)).value_or("");
    std::optional<std::string> description;
    std::vector<std::string> videoConferences, vendorConferences, otherConferences;
    for (auto* p = icalcomponent_get_first_property(c, ICAL_ANY_PROPERTY); p;
         p = icalcomponent_get_next_property(c, ICAL_ANY_PROPERTY)) {
        switch (icalproperty_isa(p)) {
        case ICAL_SUMMARY_PROPERTY:
            t.title = textOf(icalproperty_get_summary(p)).value_or("");
            break;
        case ICAL_LOCATION_PROPERTY:
            t.location = textOf(icalproperty_get_location(p));
            break;
        case ICAL_DESCRIPTION_PROPERTY:
            if (!description) {
                description = textOf(icalproperty_get_description(p));
            }
            break;
        case ICAL_URL_PROPERTY:
            t.url = textOf(icalproperty_get_url(p));
            break;
        case ICAL_STATUS_PROPERTY:
            if (auto status = eventStatusOf(p); status != EventStatus::none) {
                t.status = status;
            }
            break;
        case ICAL_ATTENDEE_PROPERTY:
            t.attendees.push_back(participantOf(p, false, userEmails));
            break;
        case ICAL_ORGANIZER_PROPERTY:
            t.organizer = participantOf(p, true, userEmails);
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
                    t.htmlNotes = textOf(icalproperty_get_x(p));
                }
            }
            break;
        }
        default:
            break;
        }
    }
    for (auto* list : {&videoConferences, &vendorConferences, &otherConferences}) {
        t.conferenceURLs.insert(t.conferenceURLs.end(), std::make_move_iterator(list->begin()),
                                std::make_move_iterator(list->end()));
    }
    if (description) {
        t.notes = std::move(description);
    } else {
        t.notes = std::exchange(t.htmlNotes, std::nullopt);
    }
    return t;
}

} // namespace Platform

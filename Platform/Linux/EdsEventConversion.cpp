#include "Platform/Linux/EdsEventConversion.h"

#include "Platform/Linux/ICalendarEventProperties.h"
#include "Platform/Linux/ICalendarTimeZoneNames.h"

#include <libical/ical.h>

#include <algorithm>

namespace Platform {

namespace {

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
                t.zone = ICalendarTimeZoneNames::databaseZone(tzid);
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

    auto fields = ICalendarEventProperties::of(c, userAddresses);
    CalendarEvent e;
    e.calendarID = calendarID;
    e.calendarItemID = fields.uid;
    if (!fields.uid.empty()) {
        e.externalID = fields.uid;
    }
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

    e.title = fields.title.value_or("");
    e.status = fields.status;
    e.url = std::move(fields.url);
    e.location = std::move(fields.location);
    e.notes = std::move(fields.notes);
    e.htmlNotes = std::move(fields.htmlNotes);
    e.conferenceURLs = std::move(fields.conferenceURLs);
    e.attendees = std::move(fields.attendees);
    e.organizer = std::move(fields.organizer);
    return e;
}

std::optional<std::int64_t> EdsEventConversion::recurrenceID(ICalComponent* component) const {
    auto* c = static_cast<icalcomponent*>(i_cal_object_get_native(I_CAL_OBJECT(component)));
    auto* zone = userZone ? static_cast<icaltimezone*>(i_cal_object_get_native(I_CAL_OBJECT(userZone)))
                          : icaltimezone_get_utc_timezone();
    return c ? recurrenceOf(c, zone) : std::nullopt;
}

} // namespace Platform

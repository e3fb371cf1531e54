#include "UI/calendar/CalendarSource.h"

#include "Support/Log.h"
#include "Support/Text.h"

namespace UI {

namespace {

const Support::Logger log("calendar");

CalendarEventFields::Status statusOf(Platform::EventStatus status) {
    switch (status) {
    case Platform::EventStatus::none:
        return CalendarEventFields::Status::none;
    case Platform::EventStatus::confirmed:
        return CalendarEventFields::Status::confirmed;
    case Platform::EventStatus::tentative:
        return CalendarEventFields::Status::tentative;
    case Platform::EventStatus::canceled:
        return CalendarEventFields::Status::canceled;
    }
    return CalendarEventFields::Status::none;
}

CalendarSourceKind sourceKindOf(Platform::CalendarSourceType type) {
    switch (type) {
    case Platform::CalendarSourceType::local:
        return CalendarSourceKind::local;
    case Platform::CalendarSourceType::exchange:
        return CalendarSourceKind::exchange;
    case Platform::CalendarSourceType::calDAV:
        return CalendarSourceKind::calDAV;
    case Platform::CalendarSourceType::mobileMe:
        return CalendarSourceKind::iCloud;
    case Platform::CalendarSourceType::subscribed:
        return CalendarSourceKind::subscribed;
    case Platform::CalendarSourceType::birthdays:
        return CalendarSourceKind::birthday;
    case Platform::CalendarSourceType::unknown:
        return CalendarSourceKind::unknown;
    }
    return CalendarSourceKind::unknown;
}

} // namespace

std::string_view rawValue(CalendarAuthorizationStatus status) {
    switch (status) {
    case CalendarAuthorizationStatus::notDetermined:
        return "notDetermined";
    case CalendarAuthorizationStatus::denied:
        return "denied";
    case CalendarAuthorizationStatus::restricted:
        return "restricted";
    case CalendarAuthorizationStatus::authorized:
        return "authorized";
    }
    return "notDetermined";
}

CalendarSource::CalendarSource(Platform::CalendarStore& store) : store_(store) {}
CalendarSource::~CalendarSource() = default;

template <typename T, typename F> Support::Task<T> CalendarSource::serialised(F body) {
    auto previous = tail_;
    Support::Task<T> work =
        Support::startTask([previous, body = std::move(body)]() mutable -> Support::Task<T> {
            if (previous.isValid()) {
                co_await previous;
            }
            co_return co_await body();
        });
    tail_ = Support::startTask([work]() -> Support::Task<void> {
        try {
            co_await work;
        } catch (...) {
            // The operation's caller gets its failure; the next operation only waits for its end.
        }
    });
    return work;
}

CalendarAuthorizationStatus CalendarSource::authorizationStatus() const {
    switch (store_.authorizationStatus()) {
    case Platform::CalendarAuthorization::notDetermined:
        return CalendarAuthorizationStatus::notDetermined;
    case Platform::CalendarAuthorization::restricted:
        return CalendarAuthorizationStatus::restricted;
    case Platform::CalendarAuthorization::denied:
    case Platform::CalendarAuthorization::writeOnly:
        return CalendarAuthorizationStatus::denied;
    case Platform::CalendarAuthorization::fullAccess:
        return CalendarAuthorizationStatus::authorized;
    }
    return CalendarAuthorizationStatus::notDetermined;
}

Support::Task<bool> CalendarSource::requestFullAccess() {
    return serialised<bool>([this]() { return store_.requestFullAccess(); });
}

std::vector<CalendarInfo> CalendarSource::calendars() const {
    std::vector<CalendarInfo> out;
    if (authorizationStatus() != CalendarAuthorizationStatus::authorized) {
        return out;
    }
    for (const auto& c : store_.calendars()) {
        out.push_back(info(c));
    }
    return out;
}

Support::Task<std::vector<CalendarEventFields>> CalendarSource::fetch(DateInterval interval,
                                                                      std::set<std::string> excluding) {
    std::vector<CalendarEventFields> out;
    if (authorizationStatus() != CalendarAuthorizationStatus::authorized) {
        co_return out;
    }
    std::vector<std::string> ids;
    for (const auto& c : store_.calendars()) {
        if (excluding.count(c.id) == 0) {
            ids.push_back(c.id);
        }
    }
    if (ids.empty()) {
        co_return out; // every calendar is excluded (an empty list would mean all of them)
    }
    auto events = co_await store_.events(interval.start, interval.end, std::move(ids));
    out.reserve(events.size());
    for (const auto& e : events) {
        out.push_back(fields(e));
    }
    co_return out;
}

Support::Task<std::vector<CalendarMeeting>> CalendarSource::meetings(DateInterval interval,
                                                                     std::set<std::string> excluding) {
    return serialised<std::vector<CalendarMeeting>>(
        [this, interval, excluding]() -> Support::Task<std::vector<CalendarMeeting>> {
            auto events = co_await fetch(interval, excluding);
            auto meetings = CalendarMeetingFilter::meetings(events, excluding);
            log.debug("{} events, {} meetings", events.size(), meetings.size());
            co_return meetings;
        });
}

Support::Task<std::vector<CalendarEventFields>> CalendarSource::events(DateInterval interval) {
    return serialised<std::vector<CalendarEventFields>>([this, interval]() { return fetch(interval, {}); });
}

void CalendarSource::ChangeStream::finish() {
    subscription_.reset();
    stream_.finish();
}

CalendarSource::ChangeStream CalendarSource::changes() {
    ChangeStream changes;
    auto stream = changes.stream_;
    changes.subscription_ = store_.observeChanges([stream] { stream.yield(true); });
    return changes;
}

Support::Subscription CalendarSource::observeChanges(std::function<void()> onChange) {
    return store_.observeChanges(std::move(onChange));
}

CalendarAttendee CalendarSource::attendee(const Platform::CalendarParticipant& p) {
    CalendarAttendee a;
    a.name = p.name;
    if (p.url) {
        auto colon = p.url->find(':');
        if (colon != std::string::npos &&
            Support::Text::asciiLowercased(p.url->substr(0, colon)) == "mailto" && p.url->size() >= 7) {
            a.email = p.url->substr(7);
        }
    }
    a.kind = p.type;
    a.status = p.status;
    a.isCurrentUser = p.isCurrentUser;
    return a;
}

CalendarEventFields CalendarSource::fields(const Platform::CalendarEvent& e) {
    CalendarEventFields f;
    f.calendarItemID = e.calendarItemID;
    f.externalID = e.externalID;
    f.calendarID = e.calendarID;
    f.title = e.title;
    f.start = e.start;
    f.end = e.end;
    f.occurrenceDate = e.occurrenceDate.value_or(e.start);
    f.isAllDay = e.isAllDay;
    f.status = statusOf(e.status);
    if (e.url) {
        f.url = Support::Url::parse(*e.url);
    }
    f.conferenceURLs = e.conferenceURLs;
    f.location = e.location;
    f.notes = e.notes;
    f.htmlNotes = e.htmlNotes;
    for (const auto& p : e.attendees) {
        f.attendees.push_back(attendee(p));
    }
    if (e.organizer) {
        f.organizer = attendee(*e.organizer);
    }
    f.unknownTimeZone = e.unknownTimeZone;
    f.timesOutOfRange = e.timesOutOfRange;
    return f;
}

CalendarInfo CalendarSource::info(const Platform::CalendarDescriptor& c) {
    return CalendarInfo{c.id, c.title, c.sourceID, c.sourceTitle, sourceKindOf(c.sourceType), c.colorHex};
}

} // namespace UI

#include "UI/calendar/CalendarMeetingFilter.h"

#include "Support/Text.h"
#include "UI/calendar/CalendarNotesSanitizer.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <algorithm>
#include <numeric>
#include <unordered_set>

namespace UI {

namespace {

CalendarParticipantStatus ownStatus(const CalendarEventFields& event) {
    for (const auto& a : event.attendees) {
        if (a.isCurrentUser) {
            return a.status;
        }
    }
    if (event.organizer && event.organizer->isCurrentUser) {
        return CalendarParticipantStatus::accepted;
    }
    return CalendarParticipantStatus::unknown;
}

using LinkSource = CalendarMeetingFilter::LinkSource;

std::optional<std::pair<MeetingLink, LinkSource>> findLink(const CalendarEventFields& event) {
    if (event.url) {
        if (auto link = MeetingLinkExtractor::classify(*event.url)) {
            return std::pair{std::move(*link), LinkSource::url};
        }
    }
    for (const auto& conference : event.conferenceURLs) {
        if (auto link = MeetingLinkExtractor::classify(Support::Text::trimmed(conference))) {
            return std::pair{std::move(*link), LinkSource::conference};
        }
    }
    if (event.location && !event.location->empty()) {
        if (auto link = MeetingLinkExtractor::firstLink(*event.location)) {
            return std::pair{std::move(*link), LinkSource::location};
        }
    }
    if (event.notes) {
        if (auto link = MeetingLinkExtractor::firstLink(*event.notes)) {
            return std::pair{std::move(*link), LinkSource::notes};
        }
    }
    if (event.htmlNotes) {
        if (auto link = MeetingLinkExtractor::firstLink(*event.htmlNotes)) {
            return std::pair{std::move(*link), LinkSource::htmlNotes};
        }
    }
    return std::nullopt;
}

bool startsBefore(const CalendarMeeting& a, const CalendarMeeting& b) {
    return a.start != b.start ? a.start < b.start : a.occurrenceKey < b.occurrenceKey;
}

} // namespace

CalendarMeetingFilter::Decision CalendarMeetingFilter::decide(const CalendarEventFields& event,
                                                              const std::set<std::string>& excluding) {
    auto drop = [](DropRule rule) { return Decision{std::nullopt, rule, std::nullopt}; };
    if (event.timesOutOfRange) {
        return drop(DropRule::outOfRange);
    }
    if (event.isAllDay) {
        return drop(DropRule::allDay);
    }
    if (event.status == CalendarEventFields::Status::canceled) {
        return drop(DropRule::canceled);
    }
    if (excluding.count(event.calendarID) > 0) {
        return drop(DropRule::excludedCalendar);
    }
    if (!(event.end > event.start)) {
        return drop(DropRule::notAfterStart);
    }
    auto myStatus = ownStatus(event);
    if (myStatus == CalendarParticipantStatus::declined) {
        return drop(DropRule::declined);
    }
    auto found = findLink(event);
    if (!found) {
        return drop(DropRule::noLink);
    }
    CalendarMeeting meeting{
        CalendarMeeting::occurrenceKeyFor(event.calendarItemID, event.occurrenceDate),
        event.calendarItemID,
        event.externalID,
        event.calendarID,
        Support::Text::trimmed(event.title),
        event.start,
        event.end,
        std::move(found->first),
        CalendarNotesSanitizer::excerpt(event.notes),
        event.attendees,
        event.organizer,
        myStatus,
    };
    return Decision{std::move(meeting), std::nullopt, found->second};
}

std::optional<CalendarMeeting> CalendarMeetingFilter::meeting(const CalendarEventFields& event,
                                                              const std::set<std::string>& excluding) {
    return decide(event, excluding).meeting;
}

std::vector<CalendarMeetingFilter::Decision>
CalendarMeetingFilter::decideAll(const std::vector<CalendarEventFields>& events,
                                 const std::set<std::string>& excluding) {
    std::vector<Decision> decisions;
    decisions.reserve(events.size());
    for (const auto& e : events) {
        decisions.push_back(decide(e, excluding));
    }
    // Of several copies of one occurrence, the first in meeting order stays.
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < decisions.size(); ++i) {
        if (decisions[i].meeting) {
            kept.push_back(i);
        }
    }
    std::stable_sort(kept.begin(), kept.end(), [&](std::size_t a, std::size_t b) {
        return startsBefore(*decisions[a].meeting, *decisions[b].meeting);
    });
    std::unordered_set<std::string> seen;
    for (auto i : kept) {
        if (!seen.insert(decisions[i].meeting->occurrenceKey).second) {
            decisions[i] = Decision{std::nullopt, DropRule::duplicate, std::nullopt};
        }
    }
    return decisions;
}

std::vector<CalendarMeeting> CalendarMeetingFilter::meetings(const std::vector<CalendarEventFields>& events,
                                                             const std::set<std::string>& excluding) {
    std::vector<CalendarMeeting> out;
    for (auto& decision : decideAll(events, excluding)) {
        if (decision.meeting) {
            out.push_back(std::move(*decision.meeting));
        }
    }
    std::stable_sort(out.begin(), out.end(), startsBefore);
    return out;
}

std::string_view rawValue(CalendarMeetingFilter::DropRule rule) {
    using R = CalendarMeetingFilter::DropRule;
    switch (rule) {
    case R::outOfRange:
        return "outOfRange";
    case R::allDay:
        return "allDay";
    case R::canceled:
        return "canceled";
    case R::excludedCalendar:
        return "excludedCalendar";
    case R::notAfterStart:
        return "notAfterStart";
    case R::declined:
        return "declined";
    case R::noLink:
        return "noLink";
    case R::duplicate:
        return "duplicate";
    }
    return "noLink";
}

std::string_view explanation(CalendarMeetingFilter::DropRule rule) {
    using R = CalendarMeetingFilter::DropRule;
    switch (rule) {
    case R::outOfRange:
        return "its date or duration is out of range (before 1900, after 2199 or longer than five years)";
    case R::allDay:
        return "all-day event";
    case R::canceled:
        return "the event is canceled";
    case R::excludedCalendar:
        return "its calendar is excluded";
    case R::notAfterStart:
        return "it ends before or when it starts";
    case R::declined:
        return "you declined it";
    case R::noLink:
        return "no Zoom, Teams or Google Meet link in its URL, conference links, location or notes";
    case R::duplicate:
        return "another copy of the same occurrence is listed";
    }
    return "";
}

std::string_view rawValue(CalendarMeetingFilter::LinkSource source) {
    switch (source) {
    case LinkSource::url:
        return "url";
    case LinkSource::conference:
        return "conference";
    case LinkSource::location:
        return "location";
    case LinkSource::notes:
        return "notes";
    case LinkSource::htmlNotes:
        return "htmlNotes";
    }
    return "url";
}

} // namespace UI

#include "UI/calendar/CalendarMeeting.h"

#include "Support/Text.h"

#include <boost/container_hash/hash.hpp>
#include <cmath>
#include <cstdint>

namespace UI {

std::string CalendarMeeting::displayTitle() const {
    auto trimmed = Support::Text::trimmed(title);
    return trimmed.empty() ? std::string("Untitled meeting") : trimmed;
}

std::string CalendarMeeting::occurrenceKeyFor(const std::string& calendarItemID,
                                              Support::Date occurrenceDate) {
    auto secs = static_cast<std::int64_t>(std::llround(Support::unixSeconds(occurrenceDate)));
    return calendarItemID + "|" + std::to_string(secs);
}

} // namespace UI

std::size_t std::hash<UI::CalendarMeeting>::operator()(const UI::CalendarMeeting& m) const noexcept {
    std::size_t seed = 0;
    boost::hash_combine(seed, m.occurrenceKey);
    boost::hash_combine(seed, m.calendarItemID);
    boost::hash_combine(seed, m.externalID ? *m.externalID : std::string("\x01"));
    boost::hash_combine(seed, m.calendarID);
    boost::hash_combine(seed, m.title);
    boost::hash_combine(seed, m.start.time_since_epoch().count());
    boost::hash_combine(seed, m.end.time_since_epoch().count());
    boost::hash_combine(seed, std::hash<UI::MeetingLink>()(m.link));
    boost::hash_combine(seed, m.notesExcerpt ? *m.notesExcerpt : std::string("\x01"));
    for (const auto& a : m.attendees) {
        boost::hash_combine(seed, std::hash<UI::CalendarAttendee>()(a));
    }
    boost::hash_combine(seed, m.organizer ? std::hash<UI::CalendarAttendee>()(*m.organizer) : 0);
    boost::hash_combine(seed, static_cast<int>(m.myStatus));
    return seed;
}

#include "UI/calendar/CalendarAttendeeHints.h"

#include "Support/Text.h"

#include <algorithm>

namespace UI {

namespace {

bool sameIgnoringCase(const std::optional<std::string>& a, const std::string& b) {
    return a && !b.empty() &&
           Support::Text::lowercased(Support::Text::trimmed(*a)) == Support::Text::lowercased(b);
}

} // namespace

std::vector<std::string> CalendarAttendeeHints::names(const CalendarMeeting& meeting,
                                                      const std::optional<User>& user) {
    return names(meeting.attendees, meeting.organizer, user);
}

std::vector<std::string> CalendarAttendeeHints::names(const std::vector<CalendarAttendee>& attendees,
                                                      const std::optional<CalendarAttendee>& organizer,
                                                      const std::optional<User>& user) {
    std::vector<std::string> out;
    if (attendees.size() > maxAttendees) {
        return out;
    }
    std::vector<const CalendarAttendee*> walk;
    if (organizer) {
        walk.push_back(&*organizer);
    }
    for (const auto& a : attendees) {
        walk.push_back(&a);
    }
    auto userName = user && user->name ? Support::Text::lowercased(Support::Text::trimmed(*user->name)) : "";
    auto userEmail =
        user && user->email ? Support::Text::lowercased(Support::Text::trimmed(*user->email)) : "";
    for (const auto* a : walk) {
        if (out.size() >= maxHints) {
            break;
        }
        bool person = a->kind == CalendarAttendee::Kind::unknown || a->kind == CalendarAttendee::Kind::person;
        if (!person || a->isCurrentUser || a->status == CalendarParticipantStatus::declined) {
            continue;
        }
        auto name = Support::Text::trimmed(a->name.value_or(""));
        if (name.empty() || sameIgnoringCase(name, userName) || sameIgnoringCase(a->email, userEmail)) {
            continue;
        }
        if (std::find(out.begin(), out.end(), name) == out.end()) {
            out.push_back(std::move(name));
        }
    }
    return out;
}

} // namespace UI

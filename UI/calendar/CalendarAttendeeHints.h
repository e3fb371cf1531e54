// The names of a meeting's people, handed to transcription as speaker hints: the organizer and attendees who
// are people (not rooms or groups), not the user, not declined, each name once, at most 15; none at all for
// meetings of more than 25 attendees (the names would be noise).
#pragma once

#include "UI/calendar/CalendarMeeting.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace UI {

struct CalendarAttendeeHints {
    static constexpr std::size_t maxAttendees = 25;
    static constexpr std::size_t maxHints = 15;

    /// Who the user is, as far as the hints need it. A name or address equal to the user's own (ignoring
    /// case) is left out, as is any entry the calendar marks as the current user.
    struct User {
        std::optional<std::string> name;
        std::optional<std::string> email;
    };

    static std::vector<std::string> names(const CalendarMeeting& meeting, const std::optional<User>& user);
    static std::vector<std::string> names(const std::vector<CalendarAttendee>& attendees,
                                          const std::optional<CalendarAttendee>& organizer,
                                          const std::optional<User>& user);
};

} // namespace UI

// A participant of a calendar event (attendee or organizer), as the meeting list, the reminders and the
// speaker hints see it. The raw values of the enumerations are written in JSON and never change; an unknown
// raw value reads as "unknown".
#pragma once

#include "Platform/CalendarStore.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace UI {

/// The participant's response and kind are the calendar store's own.
using CalendarParticipantStatus = Platform::ParticipantStatus;

std::string_view rawValue(CalendarParticipantStatus status);
std::optional<CalendarParticipantStatus> participantStatusFromRaw(std::string_view raw);

struct CalendarAttendee {
    using Kind = Platform::ParticipantType;

    std::optional<std::string> name;
    std::optional<std::string> email;
    Kind kind = Kind::unknown;
    CalendarParticipantStatus status = CalendarParticipantStatus::unknown;
    bool isCurrentUser = false;

    bool operator==(const CalendarAttendee&) const = default;
};

std::string_view rawValue(CalendarAttendee::Kind kind);
std::optional<CalendarAttendee::Kind> attendeeKindFromRaw(std::string_view raw);

} // namespace UI

template <> struct std::hash<UI::CalendarAttendee> {
    std::size_t operator()(const UI::CalendarAttendee& attendee) const noexcept;
};

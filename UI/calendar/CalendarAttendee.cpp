#include "UI/calendar/CalendarAttendee.h"

#include <array>
#include <boost/container_hash/hash.hpp>

namespace UI {

namespace {

constexpr std::array<std::string_view, 8> statusNames = {"unknown",   "pending",   "accepted",  "declined",
                                                         "tentative", "delegated", "completed", "inProcess"};
constexpr std::array<std::string_view, 5> kindNames = {"unknown", "person", "room", "group", "resource"};

template <typename E, std::size_t N>
std::optional<E> fromRaw(const std::array<std::string_view, N>& names, std::string_view raw) {
    for (std::size_t i = 0; i < N; ++i) {
        if (names[i] == raw) {
            return static_cast<E>(i);
        }
    }
    return std::nullopt;
}

} // namespace

std::string_view rawValue(CalendarParticipantStatus status) {
    return statusNames.at(static_cast<std::size_t>(status));
}

std::optional<CalendarParticipantStatus> participantStatusFromRaw(std::string_view raw) {
    return fromRaw<CalendarParticipantStatus>(statusNames, raw);
}

std::string_view rawValue(CalendarAttendee::Kind kind) {
    return kindNames.at(static_cast<std::size_t>(kind));
}

std::optional<CalendarAttendee::Kind> attendeeKindFromRaw(std::string_view raw) {
    return fromRaw<CalendarAttendee::Kind>(kindNames, raw);
}

} // namespace UI

std::size_t std::hash<UI::CalendarAttendee>::operator()(const UI::CalendarAttendee& a) const noexcept {
    std::size_t seed = 0;
    boost::hash_combine(seed, a.name ? *a.name : std::string("\x01"));
    boost::hash_combine(seed, a.email ? *a.email : std::string("\x01"));
    boost::hash_combine(seed, static_cast<int>(a.kind));
    boost::hash_combine(seed, static_cast<int>(a.status));
    boost::hash_combine(seed, a.isCurrentUser);
    return seed;
}

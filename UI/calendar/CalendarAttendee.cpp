#include "UI/calendar/CalendarAttendee.h"

#include "Support/EnumNames.h"

#include <boost/container_hash/hash.hpp>

namespace UI {

namespace {

using Status = CalendarParticipantStatus;
using Kind = CalendarAttendee::Kind;

constexpr Support::EnumName<Status> statusNames[] = {
    {Status::unknown, "unknown"},     {Status::pending, "pending"},     {Status::accepted, "accepted"},
    {Status::declined, "declined"},   {Status::tentative, "tentative"}, {Status::delegated, "delegated"},
    {Status::completed, "completed"}, {Status::inProcess, "inProcess"},
};
constexpr Support::EnumName<Kind> kindNames[] = {
    {Kind::unknown, "unknown"}, {Kind::person, "person"},     {Kind::room, "room"},
    {Kind::group, "group"},     {Kind::resource, "resource"},
};

} // namespace

std::string_view rawValue(CalendarParticipantStatus status) {
    return Support::enumName(statusNames, status);
}

std::optional<CalendarParticipantStatus> participantStatusFromRaw(std::string_view raw) {
    return Support::enumValue(statusNames, raw);
}

std::string_view rawValue(CalendarAttendee::Kind kind) {
    return Support::enumName(kindNames, kind);
}

std::optional<CalendarAttendee::Kind> attendeeKindFromRaw(std::string_view raw) {
    return Support::enumValue(kindNames, raw);
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

#include "UI/calendar/MeetingLink.h"

#include <boost/container_hash/hash.hpp>

std::size_t std::hash<UI::MeetingLink>::operator()(const UI::MeetingLink& link) const noexcept {
    std::size_t seed = 0;
    boost::hash_combine(seed, static_cast<int>(link.service));
    boost::hash_combine(seed, link.webURL.string());
    boost::hash_combine(seed, link.nativeURL ? link.nativeURL->string() : std::string());
    return seed;
}

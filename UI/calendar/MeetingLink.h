// One recognised join link: the service, the normalised https link and, where the service has a desktop
// app, the link that opens that app directly. Built only by `MeetingLinkExtractor`, so every MeetingLink is
// a link the system knows how to join.
#pragma once

#include "Support/Url.h"
#include "UI/calendar/MeetingService.h"

#include <cstddef>
#include <functional>
#include <optional>

namespace UI {

struct MeetingLink {
    MeetingService service;
    Support::Url webURL;
    std::optional<Support::Url> nativeURL;

    bool operator==(const MeetingLink&) const = default;
};

} // namespace UI

template <> struct std::hash<UI::MeetingLink> {
    std::size_t operator()(const UI::MeetingLink& link) const noexcept;
};

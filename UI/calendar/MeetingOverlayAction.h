// What the overlay card reports to the reminder coordinator: the user's choice for the main meeting, or
// joining one of the extra meetings (by its occurrence key).
#pragma once

#include "UI/calendar/MeetingOverlayPresentation.h"

#include <string>

namespace UI {

struct MeetingOverlayAction {
    enum class Kind { joinAndRecord, joinOnly, snooze, dismiss, joinExtra };

    Kind kind = Kind::dismiss;
    /// The extra meeting's key for `joinExtra`; empty otherwise.
    std::string extraOccurrenceKey;

    static MeetingOverlayAction button(MeetingOverlayPresentation::Button button) {
        switch (button) {
        case MeetingOverlayPresentation::Button::joinAndRecord:
            return {Kind::joinAndRecord, {}};
        case MeetingOverlayPresentation::Button::joinOnly:
            return {Kind::joinOnly, {}};
        case MeetingOverlayPresentation::Button::snooze:
            return {Kind::snooze, {}};
        case MeetingOverlayPresentation::Button::dismiss:
            return {Kind::dismiss, {}};
        }
        return {};
    }
    static MeetingOverlayAction joinExtra(std::string occurrenceKey) {
        return {Kind::joinExtra, std::move(occurrenceKey)};
    }

    bool operator==(const MeetingOverlayAction&) const = default;
};

} // namespace UI

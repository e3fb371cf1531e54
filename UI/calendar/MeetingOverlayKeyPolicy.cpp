#include "UI/calendar/MeetingOverlayKeyPolicy.h"

#include <algorithm>

namespace UI {

MeetingOverlayKeyPolicy::Outcome MeetingOverlayKeyPolicy::outcome(std::uint16_t keyCode, bool isGuarded,
                                                                  bool hasNavigated) {
    if (isGuarded) {
        return Outcome::swallow;
    }
    if (keyCode == escapeKey) {
        return Outcome::escape;
    }
    if (keyCode == tabKey || std::find(arrows.begin(), arrows.end(), keyCode) != arrows.end()) {
        return Outcome::navigation;
    }
    if (keyCode == returnKey || keyCode == spaceKey || keyCode == keypadEnterKey) {
        return hasNavigated ? Outcome::passThrough : Outcome::swallow;
    }
    return Outcome::passThrough;
}

std::optional<MeetingOverlayAction> MeetingOverlayKeyPolicy::action(Outcome outcome) {
    if (outcome == Outcome::escape) {
        return MeetingOverlayAction::button(MeetingOverlayPresentation::Button::dismiss);
    }
    return std::nullopt;
}

} // namespace UI

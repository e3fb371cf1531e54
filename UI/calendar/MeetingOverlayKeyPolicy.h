// How the overlay card treats the keyboard, so that a stray keystroke (the user was typing when the card
// appeared) never joins or dismisses a meeting by accident: during the guard period every key is swallowed;
// Return and Space activate a button only after the user moved the focus with Tab or the arrows; Escape
// dismisses the card (as the Dismiss button does). Key codes are the 16-bit virtual key codes the card's
// view layer reports (Escape 53, Tab 48, Return 36, Space 49, keypad Enter 76, arrows 123-126).
#pragma once

#include "UI/calendar/MeetingOverlayAction.h"

#include <array>
#include <cstdint>
#include <optional>

namespace UI {

struct MeetingOverlayKeyPolicy {
    enum class Outcome { passThrough, navigation, swallow, escape };

    static constexpr std::array<std::uint16_t, 4> arrows = {123, 124, 125, 126};
    static constexpr std::uint16_t escapeKey = 53;
    static constexpr std::uint16_t tabKey = 48;
    static constexpr std::uint16_t returnKey = 36;
    static constexpr std::uint16_t spaceKey = 49;
    static constexpr std::uint16_t keypadEnterKey = 76;
    /// How long after the card appears every key is swallowed, in seconds: long enough for a burst of
    /// typing to end, short enough that a deliberate Escape is not lost.
    static constexpr double guardPeriod = 1.5;

    static Outcome outcome(std::uint16_t keyCode, bool isGuarded, bool hasNavigated);
    /// What an outcome does to the card: Escape dismisses it; the others are handled by the view.
    static std::optional<MeetingOverlayAction> action(Outcome outcome);
};

} // namespace UI

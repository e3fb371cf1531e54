// Sleep and wake of the computer, and changes of the wall clock (set by the user or by time sync). After
// either, timers measured in wall-clock time may be late and plans stale: observers replan. Events arrive
// on the main loop.
#pragma once

#include "Support/Signal.h"

#include <functional>

namespace Platform {

class PowerEvents {
public:
    virtual ~PowerEvents() = default;
    [[nodiscard]] virtual Support::Subscription observeWake(std::function<void()> onWake) = 0;
    [[nodiscard]] virtual Support::Subscription observeClockChange(std::function<void()> onChange) = 0;
};

} // namespace Platform

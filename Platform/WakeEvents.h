// The system's wake-from-sleep event, for work that should catch up after the computer slept (the video
// expiry sweep). The Linux implementation listens to logind's PrepareForSleep(false); tests and hosts
// without a session bus emit `didWake` themselves. Emitted on the main loop.
#pragma once

#include "Support/Signal.h"

namespace Platform {

class WakeEvents {
public:
    virtual ~WakeEvents() = default;

    /// The computer woke from sleep.
    Support::Signal<> didWake;
};

} // namespace Platform

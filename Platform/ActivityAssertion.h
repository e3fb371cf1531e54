// Keeps the computer from idle-sleeping while a reminder is imminent. `begin` returns a handle; the
// assertion lasts until the handle goes away. Failing to take one is not an error for the caller: the
// implementation logs it and returns an empty handle.
#pragma once

#include "Support/Signal.h"

#include <string>

namespace Platform {

class ActivityAssertion {
public:
    virtual ~ActivityAssertion() = default;
    /// Holds off idle sleep until the returned subscription ends. `reason` is shown by the system.
    [[nodiscard]] virtual Support::Subscription begin(const std::string& reason) = 0;
};

} // namespace Platform

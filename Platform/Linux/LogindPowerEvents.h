// Wake from sleep and wall-clock changes on Linux: systemd-logind's PrepareForSleep(false) signal says the
// computer resumed, and a CLOCK_REALTIME timerfd armed with TFD_TIMER_CANCEL_ON_SET says the clock was set
// (by the user, NTP or a time-zone tool). Both arrive on the main loop. Without logind only clock changes
// are reported (logged once); a host that knows there is no system bus asks for clock changes only
// (`noBus`), and nothing is logged.
#pragma once

#include "Platform/PowerEvents.h"
#include "Support/MainLoop.h"

#include <memory>
#include <optional>
#include <string>

namespace Platform::Linux {

class LogindPowerEvents final : public Platform::PowerEvents {
public:
    /// Uses the system bus, or the bus at `address`.
    explicit LogindPowerEvents(Support::MainLoop& loop, std::optional<std::string> address = {});
    struct NoBus {};
    static constexpr NoBus noBus{};
    /// Clock changes only.
    LogindPowerEvents(Support::MainLoop& loop, NoBus);
    ~LogindPowerEvents() override;

    Support::Subscription observeWake(std::function<void()> onWake) override;
    Support::Subscription observeClockChange(std::function<void()> onChange) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace Platform::Linux

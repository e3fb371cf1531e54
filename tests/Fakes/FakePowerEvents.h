// Plays a wake from sleep or a clock change for tests.
#pragma once

#include "Platform/PowerEvents.h"

namespace Fakes {

class FakePowerEvents final : public Platform::PowerEvents {
public:
    Support::Subscription observeWake(std::function<void()> onWake) override {
        return woke_.connect([f = std::move(onWake)] { f(); });
    }
    Support::Subscription observeClockChange(std::function<void()> onChange) override {
        return clockChanged_.connect([f = std::move(onChange)] { f(); });
    }
    void wake() { woke_.emit(); }
    void clockChange() { clockChanged_.emit(); }

private:
    Support::Signal<> woke_;
    Support::Signal<> clockChanged_;
};

} // namespace Fakes

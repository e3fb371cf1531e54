#include "Platform/Linux/LogindPowerEvents.h"

#include "Platform/Linux/SdBusCall.h"
#include "Support/FileDescriptor.h"
#include "Support/Log.h"

#include <systemd/sd-bus.h>

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Platform::Linux {

struct LogindPowerEvents::Impl {
    Support::MainLoop& loop;
    std::unique_ptr<SdBusConnection> bus;
    sd_bus_slot* sleepSlot = nullptr;
    Support::FileDescriptor timerFD;
    Support::Subscription timerWatch;
    Support::Signal<> woke;
    Support::Signal<> clockChanged;
    Support::Logger log{"power"};

    explicit Impl(Support::MainLoop& l) : loop(l) {}
    ~Impl() {
        sd_bus_slot_unref(sleepSlot);
        timerWatch.reset(); // the loop lets go of the descriptor before it is closed
    }

    static int onPrepareForSleep(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto* self = static_cast<Impl*>(userdata);
        int starting = 0;
        if (sd_bus_message_read(m, "b", &starting) >= 0 && !starting) {
            self->woke.emit();
        }
        return 0;
    }

    /// Arms the timer far in the future: it only ever "fires" by being cancelled when the clock is set.
    void armTimer() {
        itimerspec expiry{};
        expiry.it_value.tv_sec = INT32_MAX;
        timerfd_settime(timerFD.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &expiry, nullptr);
    }
    void watchClock() {
        timerFD.reset(timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC));
        if (timerFD) {
            armTimer();
            timerWatch = loop.watchReadable(timerFD.get(), [this] { onTimer(); });
        }
    }
    void onTimer() {
        std::uint64_t expirations = 0;
        ssize_t n = ::read(timerFD.get(), &expirations, sizeof expirations);
        if (n < 0 && errno == ECANCELED) {
            armTimer();
            clockChanged.emit();
        } else if (n < 0 && errno == EAGAIN) {
            return;
        } else {
            armTimer();
        }
    }
};

LogindPowerEvents::LogindPowerEvents(Support::MainLoop& loop, std::optional<std::string> address)
    : impl_(std::make_unique<Impl>(loop)) {
    try {
        impl_->bus = std::make_unique<SdBusConnection>(loop, address, true);
        sd_bus_match_signal(impl_->bus->get(), &impl_->sleepSlot, "org.freedesktop.login1",
                            "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
                            &Impl::onPrepareForSleep, impl_.get());
        impl_->bus->flush();
    } catch (const std::exception& e) {
        impl_->log.warning("Waking from sleep won't be noticed at once: {}", e.what());
    }
    impl_->watchClock();
}

LogindPowerEvents::LogindPowerEvents(Support::MainLoop& loop, NoBus) : impl_(std::make_unique<Impl>(loop)) {
    impl_->watchClock();
}

LogindPowerEvents::~LogindPowerEvents() = default;

Support::Subscription LogindPowerEvents::observeWake(std::function<void()> onWake) {
    return impl_->woke.connect([f = std::move(onWake)] { f(); });
}

Support::Subscription LogindPowerEvents::observeClockChange(std::function<void()> onChange) {
    return impl_->clockChanged.connect([f = std::move(onChange)] { f(); });
}

} // namespace Platform::Linux

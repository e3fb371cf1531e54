// Time for logic that waits: the wall-clock date a user sees, a monotonic clock for elapsed durations, and
// timers, injected everywhere so that tests run whole mornings in virtual time. Durations are
// `Support::Duration` throughout (`seconds(1.5)` converts a double).
//
// `RealScheduler` is backed by the main loop's timers. `VirtualScheduler` is deterministic: nothing runs
// until a test calls `advance(d)`, which runs every timer due within `d` in time order (equal times in the
// order they were scheduled), draining the main loop after each, and then leaves `now()` at the target.
//
// Timers are callbacks on the main loop, ended by dropping or resetting their `Subscription`. Sleeps are for
// tasks: `co_await scheduler.sleepFor(d)` resumes after `d`, or throws `Cancelled` as soon as the task is
// cancelled. A date in the past (or a zero or negative duration) fires on the next turn, never inline.
#pragma once

#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <functional>
#include <map>
#include <memory>

namespace Support {

class MainLoop;

/// A point in monotonic time: only the difference of two from the same scheduler means anything.
using MonotonicInstant = std::chrono::time_point<std::chrono::steady_clock, Duration>;

class Scheduler {
public:
    virtual ~Scheduler() = default;

    /// The current wall-clock date.
    virtual Date now() const = 0;
    /// The monotonic clock, for measuring elapsed time (recording lengths, time-outs, debounces): it never
    /// jumps when the wall clock is set or the machine sleeps through a date.
    virtual MonotonicInstant monotonicNow() const = 0;

    /// Runs `action` on the main loop once, after `delay`.
    [[nodiscard]] virtual Subscription after(Duration delay, std::function<void()> action) = 0;
    /// Runs `action` on the main loop once, at `date` (on the next turn when it has passed).
    [[nodiscard]] virtual Subscription at(Date date, std::function<void()> action) = 0;
    /// Runs `action` every `interval` (first after one interval) until the subscription ends.
    [[nodiscard]] Subscription every(Duration interval, std::function<void()> action);

    /// Suspends the current task until `arm`'s timer fires, or until the task is cancelled.
    static auto sleepImpl(std::function<Subscription(std::function<void()>)> arm) {
        auto timer = std::make_shared<Subscription>();
        return withContinuation<void>(
            [timer, arm = std::move(arm)](Continuation<void> c) { *timer = arm([c] { c.resume(); }); },
            [timer] { timer->reset(); });
    }

    /// For tasks: suspends for `delay`, or until the task is cancelled (then throws `Cancelled`).
    auto sleepFor(Duration delay) {
        return sleepImpl([this, delay](std::function<void()> fire) { return after(delay, std::move(fire)); });
    }
    auto sleepUntil(Date date) {
        return sleepImpl([this, date](std::function<void()> fire) { return at(date, std::move(fire)); });
    }
};

class RealScheduler final : public Scheduler {
public:
    explicit RealScheduler(MainLoop& loop);
    ~RealScheduler() override;
    Date now() const override;
    MonotonicInstant monotonicNow() const override;
    Subscription after(Duration delay, std::function<void()> action) override;
    Subscription at(Date date, std::function<void()> action) override;

private:
    MainLoop& loop_;
};

class VirtualScheduler final : public Scheduler {
public:
    VirtualScheduler(MainLoop& loop, Date start);
    ~VirtualScheduler() override;

    Date now() const override { return now_; }
    /// Starts at zero and moves with `advance`/`advanceTo`, not with `jumpTo`.
    MonotonicInstant monotonicNow() const override { return MonotonicInstant(elapsed_); }
    Subscription after(Duration delay, std::function<void()> action) override;
    Subscription at(Date date, std::function<void()> action) override;

    /// Runs every timer due up to now + `d`, in time order, draining the main loop after each.
    void advance(Duration d);
    void advanceTo(Date date);
    /// Drains the main loop without moving time.
    void runReady();
    /// Moves the wall clock without running anything (a clock jump or a sleep the process did not see).
    void jumpTo(Date date) { now_ = date; }

    size_t pendingTimers() const { return timers_.size(); }
    std::optional<Date> nextDue() const;

private:
    struct Key {
        Date due;
        uint64_t seq;
        auto operator<=>(const Key&) const = default;
    };
    MainLoop& loop_;
    void moveTo(Date date);

    Date now_;
    Duration elapsed_{0};
    uint64_t seq_ = 0;
    std::map<Key, std::function<void()>> timers_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Support

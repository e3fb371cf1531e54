#include "Support/Scheduler.h"

#include "Support/MainLoop.h"

#include <algorithm>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/system_timer.hpp>

namespace Support {

Subscription Scheduler::every(Duration interval, std::function<void()> action) {
    struct Repeat {
        Subscription next;
        std::function<void()> action;
        bool active = true;
    };
    auto repeat = std::make_shared<Repeat>();
    repeat->action = std::move(action);
    auto arm = std::make_shared<std::function<void()>>();
    std::weak_ptr<Repeat> weak = repeat;
    *arm = [this, weak, interval, arm] {
        if (auto r = weak.lock()) {
            r->next = after(interval, [weak, arm] {
                auto live = weak.lock();
                if (!live || !live->active) {
                    return;
                }
                live->action();
                if (live->active && *arm) {
                    (*arm)();
                }
            });
        }
    };
    (*arm)();
    return Subscription([repeat, arm]() mutable {
        repeat->active = false;
        repeat->next.reset();
        *arm = nullptr;
        repeat.reset();
    });
}

// MARK: RealScheduler

RealScheduler::RealScheduler(MainLoop& loop) : loop_(loop) {}
RealScheduler::~RealScheduler() = default;

Date RealScheduler::now() const {
    return systemNow();
}

MonotonicInstant RealScheduler::monotonicNow() const {
    return std::chrono::time_point_cast<Duration>(std::chrono::steady_clock::now());
}

namespace {
// The system's timers count nanoseconds, which hold only about 292 years either side of 1970: a delay
// beyond a century (a calendar date may be clamped 10,000 years away) waits a century instead, which is
// never in practice, and a date is kept within two centuries of 1970.
constexpr Duration longestWait = std::chrono::hours(24 * 365 * 100);
constexpr Duration furthestDate = 2 * longestWait;

template <typename Timer, typename Arm>
Subscription startTimer(MainLoop& loop, Arm arm, std::function<void()> action) {
    auto& io = *static_cast<boost::asio::io_context*>(loop.nativeHandle());
    auto timer = std::make_shared<Timer>(io);
    arm(*timer);
    auto live = std::make_shared<bool>(true);
    timer->async_wait([live, action = std::move(action)](const boost::system::error_code& ec) {
        if (!ec && *live) {
            action();
        }
    });
    return Subscription([timer, live] {
        *live = false;
        timer->cancel();
    });
}
} // namespace

Subscription RealScheduler::after(Duration delay, std::function<void()> action) {
    delay = std::clamp(delay, Duration::zero(), longestWait);
    return startTimer<boost::asio::steady_timer>(
        loop_, [delay](boost::asio::steady_timer& t) { t.expires_after(delay); }, std::move(action));
}

Subscription RealScheduler::at(Date date, std::function<void()> action) {
    date = std::clamp(date, Date(-furthestDate), Date(furthestDate));
    return startTimer<boost::asio::system_timer>(
        loop_,
        [date](boost::asio::system_timer& t) {
            t.expires_at(std::chrono::time_point_cast<std::chrono::system_clock::duration>(date));
        },
        std::move(action));
}

// MARK: VirtualScheduler

VirtualScheduler::VirtualScheduler(MainLoop& loop, Date start) : loop_(loop), now_(start) {}

VirtualScheduler::~VirtualScheduler() {
    *alive_ = false;
}

Subscription VirtualScheduler::after(Duration delay, std::function<void()> action) {
    return at(now_ + std::max(delay, Duration::zero()), std::move(action));
}

Subscription VirtualScheduler::at(Date date, std::function<void()> action) {
    // A date already passed fires on the next advance (or runReady), never inside this call.
    Key key{std::max(date, now_), seq_++};
    timers_.emplace(key, std::move(action));
    std::weak_ptr<bool> alive = alive_;
    return Subscription([this, alive, key] {
        if (auto a = alive.lock(); a && *a) {
            timers_.erase(key);
        }
    });
}

void VirtualScheduler::advance(Duration d) {
    advanceTo(now_ + d);
}

void VirtualScheduler::advanceTo(Date target) {
    loop_.runUntilIdle();
    while (!timers_.empty() && timers_.begin()->first.due <= target) {
        auto node = timers_.extract(timers_.begin());
        moveTo(node.key().due);
        node.mapped()();
        loop_.runUntilIdle();
    }
    moveTo(target);
    loop_.runUntilIdle();
}

void VirtualScheduler::moveTo(Date date) {
    if (date > now_) {
        elapsed_ += date - now_;
        now_ = date;
    }
}

void VirtualScheduler::runReady() {
    advanceTo(now_);
}

std::optional<Date> VirtualScheduler::nextDue() const {
    if (timers_.empty()) {
        return std::nullopt;
    }
    return timers_.begin()->first.due;
}

} // namespace Support

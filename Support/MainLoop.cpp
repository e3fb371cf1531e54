#include "Support/MainLoop.h"

#include "Support/MainLoopTurns.h"
#include "Support/Task.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>

#include <atomic>
#include <cassert>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>

namespace Support {

namespace {
std::atomic<MainLoop*> currentLoop{nullptr};
// The turn hooks by loop (main thread only; at most one per loop).
std::unordered_map<const MainLoop*, std::shared_ptr<std::function<void()>>> turnHooks;
} // namespace

struct MainLoop::Impl {
    boost::asio::io_context io;
    std::thread::id thread = std::this_thread::get_id();
    MainLoop* previous = nullptr;
    // The tasks alive on this loop. A task's last owner may be another thread, so its state can leave the
    // registry from there: the registry is locked, and tells a loop going away when a task has left.
    std::mutex tasksMutex;
    std::condition_variable taskLeft;
    std::unordered_set<detail::TaskStateBase*> tasks;
};

MainLoop::MainLoop() : impl_(std::make_unique<Impl>()) {
    impl_->previous = currentLoop.exchange(this);
}

MainLoop::~MainLoop() {
    // Handlers still queued are destroyed without running; tasks waiting on them are released. A task being
    // destroyed on another thread right now leaves the registry itself: wait for it, for it still uses the
    // loop.
    std::unique_lock lock(impl_->tasksMutex);
    while (!impl_->tasks.empty()) {
        auto* task = *impl_->tasks.begin();
        auto keep = task->weak_from_this().lock();
        if (!keep) {
            impl_->taskLeft.wait(lock);
            continue;
        }
        impl_->tasks.erase(impl_->tasks.begin());
        lock.unlock();
        task->detachFromLoop();
        keep.reset();
        lock.lock();
    }
    lock.unlock();
    turnHooks.erase(this);
    MainLoop* expected = this;
    currentLoop.compare_exchange_strong(expected, impl_->previous);
    impl_->io.stop();
    impl_.reset();
}

MainLoop& MainLoop::current() {
    MainLoop* loop = currentLoop.load();
    if (!loop) {
        std::fputs("vellmora: no main loop exists\n", stderr);
        std::abort();
    }
    return *loop;
}

bool MainLoop::hasCurrent() {
    return currentLoop.load() != nullptr;
}

void MainLoop::post(std::function<void()> work) {
    boost::asio::post(impl_->io, std::move(work));
}

void MainLoop::run() {
    impl_->thread = std::this_thread::get_id();
    auto guard = boost::asio::make_work_guard(impl_->io);
    impl_->io.restart();
    // One handler at a time, so that a turn hook added while running (the desktop opening its first window
    // from a menu click) is honoured from the next handler on.
    for (;;) {
        if (auto found = turnHooks.find(this); found != turnHooks.end()) {
            auto hook = found->second;
            (*hook)();
        }
        if (impl_->io.run_one() == 0) {
            return;
        }
    }
}

Subscription onMainLoopTurn(MainLoop& loop, std::function<void()> hook) {
    auto shared = std::make_shared<std::function<void()>>(std::move(hook));
    turnHooks[&loop] = shared;
    std::weak_ptr<std::function<void()>> weak = shared;
    const MainLoop* key = &loop;
    return Subscription([key, weak]() {
        auto found = turnHooks.find(key);
        if (found != turnHooks.end() && found->second == weak.lock()) {
            turnHooks.erase(found);
        }
    });
}

void MainLoop::stop() {
    impl_->io.stop();
}

size_t MainLoop::runUntilIdle() {
    size_t total = 0;
    for (;;) {
        impl_->io.restart();
        size_t n = impl_->io.poll();
        total += n;
        if (n == 0) {
            return total;
        }
    }
}

bool MainLoop::runOne(int timeoutMs) {
    impl_->io.restart();
    auto guard = boost::asio::make_work_guard(impl_->io);
    return impl_->io.run_one_for(std::chrono::milliseconds(timeoutMs)) > 0;
}

bool MainLoop::isLoopThread() const {
    return std::this_thread::get_id() == impl_->thread;
}

Subscription MainLoop::watchReadable(int fd, std::function<void()> onReadable) {
    struct Watch {
        boost::asio::posix::stream_descriptor descriptor;
        std::function<void()> callback;
        bool active = true;
        Watch(boost::asio::io_context& io, int f, std::function<void()> cb)
            : descriptor(io, f), callback(std::move(cb)) {}
    };
    auto watch = std::make_shared<Watch>(impl_->io, fd, std::move(onReadable));
    auto arm = std::make_shared<std::function<void()>>();
    std::weak_ptr<Watch> weak = watch;
    *arm = [weak, arm]() {
        auto w = weak.lock();
        if (!w) {
            return;
        }
        w->descriptor.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                                 [weak, arm](const boost::system::error_code& ec) {
                                     auto live = weak.lock();
                                     if (ec || !live || !live->active) {
                                         return;
                                     }
                                     live->callback();
                                     if (live->active) {
                                         (*arm)();
                                     }
                                 });
    };
    (*arm)();
    return Subscription([watch, arm]() mutable {
        watch->active = false;
        boost::system::error_code ignored;
        watch->descriptor.cancel(ignored);
        // The descriptor belongs to the caller: give it back instead of closing it.
        watch->descriptor.release();
        *arm = nullptr;
        watch.reset();
    });
}

void* MainLoop::nativeHandle() {
    return &impl_->io;
}

void MainLoop::registerTask(detail::TaskStateBase* task) {
    std::lock_guard lock(impl_->tasksMutex);
    impl_->tasks.insert(task);
}
void MainLoop::unregisterTask(detail::TaskStateBase* task) {
    std::lock_guard lock(impl_->tasksMutex);
    impl_->tasks.erase(task);
    impl_->taskLeft.notify_all();
}

void assertOnMainLoop() {
#ifndef NDEBUG
    assert(MainLoop::hasCurrent() && MainLoop::current().isLoopThread());
#endif
}

} // namespace Support

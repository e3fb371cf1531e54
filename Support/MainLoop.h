// The main loop: one event loop run on the main thread, on which every UI object lives. Work from other
// threads comes back through `post`, and platform file descriptors (D-Bus, inotify, X11) are watched here so
// their events arrive on the main thread without locks.
//
// Used by the host (`run` until `stop`), by tasks (every resumption is posted here), by schedulers and by
// platform implementations (`watchReadable`). Tests call `runUntilIdle()` to drain everything that is ready
// without blocking. When a loop is destroyed, every task still suspended on it is destroyed with its locals,
// without running further. One MainLoop is "current" for the process at a time (the one most recently
// constructed and still alive); `MainLoop::current()` aborts when there is none.
#pragma once

#include "Support/Signal.h"

#include <functional>
#include <memory>

namespace Support {

namespace detail {
class TaskStateBase;
}

class MainLoop {
public:
    MainLoop();
    ~MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    static MainLoop& current();
    static bool hasCurrent();

    /// Queues `work` to run on the loop's thread, in posting order. Safe from any thread.
    void post(std::function<void()> work);

    /// Runs until `stop()` is called (from the loop or another thread).
    void run();
    void stop();
    /// Runs every handler that is ready now, and those they make ready, without waiting. Returns the count.
    size_t runUntilIdle();
    /// Runs at most one ready or pending handler, waiting up to `timeoutMs` for one. Returns whether one ran.
    bool runOne(int timeoutMs);

    /// True on the thread that runs (or constructed) the loop.
    bool isLoopThread() const;

    /// Calls `onReadable` on the loop each time `fd` becomes readable, until the returned handle goes away.
    /// The descriptor is not closed by the loop.
    [[nodiscard]] Subscription watchReadable(int fd, std::function<void()> onReadable);

    /// The underlying `boost::asio::io_context*`, for the few implementation files that need asio itself.
    void* nativeHandle();

    /// Tasks register here so that a loop going away releases every task still suspended on it (a task
    /// waiting on something that was destroyed could otherwise keep itself alive forever).
    void registerTask(detail::TaskStateBase* task);
    void unregisterTask(detail::TaskStateBase* task);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Debug-build assertion that the caller is on the current main loop's thread.
void assertOnMainLoop();

} // namespace Support

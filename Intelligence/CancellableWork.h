// Blocking work that a task waits for to its very end, even when the task is cancelled: cancellation only
// raises the flag the work receives, and the work stops at its next check. Unlike `BlockingWork::run`, the
// task cannot move on while the work still touches files, so whoever waits for the task (the deletion of a
// recording) knows nothing is written afterwards.
#pragma once

#include "Support/BlockingWork.h"
#include "Support/Task.h"

#include <atomic>
#include <functional>
#include <memory>

namespace Intelligence {

template <typename R> struct RunToEndAwaiter {
    static constexpr bool ignoresPendingCancellation = true;
    std::function<R(const std::atomic<bool>&)> work;
    std::shared_ptr<std::atomic<bool>> cancelled = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<typename Support::Continuation<R>::State> state =
        std::make_shared<typename Support::Continuation<R>::State>();

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<>) {
        auto* task = Support::detail::currentTask();
        if (task->isCancelled()) {
            cancelled->store(true);
        }
        task->setCancelHook([flag = cancelled] { flag->store(true); });
        Support::Continuation<R> continuation(state, task->shared_from_this());
        Support::BlockingWork::submit([work = std::move(work), flag = cancelled, continuation]() mutable {
            auto once = [&] { return work(*flag); };
            Support::BlockingWork::settleFromPool(std::move(continuation), once);
        });
    }
    R await_resume() {
        if (state->error) {
            std::rethrow_exception(state->error);
        }
        return std::move(*state->value);
    }
};

/// Name the awaiter before awaiting it: `auto awaiter = runToEnd<R>(work); auto r = co_await awaiter;`.
template <typename R> RunToEndAwaiter<R> runToEnd(std::function<R(const std::atomic<bool>& cancelled)> work) {
    RunToEndAwaiter<R> awaiter;
    awaiter.work = std::move(work);
    return awaiter;
}

} // namespace Intelligence

// The one way blocking work (files, databases, HTTP, media) leaves the main loop: `co_await
// BlockingWork::run(f)` runs `f` on a small shared thread pool and resumes the task on the main loop with
// its value, or rethrows its exception unchanged. If the task is cancelled meanwhile, `f` still runs to its
// end (it cannot be interrupted) but its result is dropped and the await throws `Cancelled`. The pool thread
// gives its references to the task back to the loop with the result, so a task (its frame, its value, its
// error) is always destroyed on the loop's thread, even when the pool thread finishes after the task did.
#pragma once

#include "Support/Task.h"

#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace Support::BlockingWork {

/// Hands `job` to the pool (any thread may call it).
void submit(std::function<void()> job);
/// Waits until every submitted job has finished (tests and shutdown).
void drain();

/// On a pool thread: runs `work()` and settles `c` with its value or exception. Both are handed over outside
/// the catch block and with the pool's references to the task, so that the task, its frame and the
/// exception are released on the loop's thread, never here.
template <typename R, typename F> void settleFromPool(Continuation<R> c, F& work) {
    std::exception_ptr error;
    std::optional<std::conditional_t<std::is_void_v<R>, std::monostate, R>> value;
    try {
        if constexpr (std::is_void_v<R>) {
            work();
            value.emplace();
        } else {
            value.emplace(work());
        }
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        std::move(c).failAndRelease(std::move(error));
    } else if constexpr (std::is_void_v<R>) {
        std::move(c).resumeAndRelease();
    } else {
        std::move(c).resumeAndRelease(std::move(*value));
    }
}

template <typename F> auto run(F work) {
    using R = std::invoke_result_t<F&>;
    return withContinuation<R>([work = std::move(work)](Continuation<R> c) mutable {
        submit([work = std::move(work), c]() mutable { settleFromPool(std::move(c), work); });
    });
}

} // namespace Support::BlockingWork

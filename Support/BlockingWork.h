// The one way blocking work (files, databases, HTTP, media) leaves the main loop: `co_await
// BlockingWork::run(f)` runs `f` on a small shared thread pool and resumes the task on the main loop with
// its value, or rethrows its exception unchanged. If the task is cancelled meanwhile, `f` still runs to its
// end (it cannot be interrupted) but its result is dropped and the await throws `Cancelled`.
#pragma once

#include "Support/Task.h"

#include <exception>
#include <functional>
#include <type_traits>

namespace Support::BlockingWork {

/// Hands `job` to the pool (any thread may call it).
void submit(std::function<void()> job);
/// Waits until every submitted job has finished (tests and shutdown).
void drain();

template <typename F> auto run(F work) {
    using R = std::invoke_result_t<F&>;
    return withContinuation<R>([work = std::move(work)](Continuation<R> c) mutable {
        submit([work = std::move(work), c]() mutable {
            try {
                if constexpr (std::is_void_v<R>) {
                    work();
                    c.resume();
                } else {
                    c.resume(work());
                }
            } catch (...) {
                c.fail(std::current_exception());
            }
        });
    });
}

} // namespace Support::BlockingWork

// Tasks: C++20 coroutines that run on the main loop, the unit of asynchronous work in every layer.
//
// A coroutine returning `Task<T>` is scheduled on `MainLoop::current()` when it is created (like an
// unstructured task: it starts on the next turn of the loop, never inside the caller) and runs there until
// it finishes. Any number of awaiters may `co_await` it, before or after it finished; each gets the value, or
// the exception the body threw. Dropping every `Task` handle does not stop it: a task lives while something
// can still resume it (a timer, a continuation, a posted resumption) or somebody holds its handle; a task
// that nothing can ever resume is destroyed with its locals, so nothing leaks.
//
// Cancellation is cooperative: `cancel()` marks the task; the mark is delivered at the task's next
// `co_await` (and wakes a suspended one at once) as a `Support::Cancelled` exception, which ends the body
// unless it catches it. A task cancelled before its first turn runs none of its body. `Cancelled` is not a
// `std::exception`, so `catch (const std::exception&)` never swallows it; a `catch (...)` in a task must
// rethrow it or turn it into a state on purpose. Awaiting a cancelled task throws `Cancelled` in the awaiter.
//
// Awaiting another task: `co_await other` shares a task (any number of awaiters; cancelling the awaiter
// leaves `other` running). A child the awaiting task owns is awaited through `awaitOwned(child)`, which
// passes the awaiter's cancellation on to the child and returns only once the child has ended.
//
// Coroutine lambdas must not capture by reference or `this`-capture temporaries that die before the task
// ends: a lambda coroutine's captures live in the lambda object, not in the frame. Use `startTask(f)`, which
// keeps the callable alive for the task's whole life.
//
// Custom awaitables (HTTP transfers, D-Bus calls, blocking work) are built on `withContinuation`, the one
// primitive that suspends a task until something resumes it from any thread, with an optional cancel hook
// that runs on the main loop when the waiting task is cancelled.
#pragma once

#include "Support/MainLoop.h"

#include <cassert>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace Support {

/// Thrown at a cancelled task's next await, and by awaiting a cancelled task. Deliberately not a
/// `std::exception`: a `catch (const std::exception&)` around an await lets it through, so only code that
/// names it (or a `catch (...)`, which must rethrow it) can stop a cancellation.
struct Cancelled {
    const char* what() const noexcept { return "cancelled"; }
};

namespace detail {

class TaskStateBase : public std::enable_shared_from_this<TaskStateBase> {
public:
    explicit TaskStateBase(MainLoop& loop) : loop_(&loop) { loop.registerTask(this); }
    virtual ~TaskStateBase();
    TaskStateBase(const TaskStateBase&) = delete;
    TaskStateBase& operator=(const TaskStateBase&) = delete;

    void cancel();
    bool isCancelled() const { return cancelled_; }
    bool isDone() const { return done_; }
    /// The loop is going away: destroy the suspended frame and never post again.
    void detachFromLoop();

    /// Resumes the coroutine on this thread (the loop's). Marks it current while it runs.
    void resume();
    /// Posts a resumption to the loop.
    void scheduleResume();
    /// Hands `self` and `keep` over to the task's loop: a closure posted there (resuming the task first when
    /// `resume`) owns them, so that the task's state and whatever `keep` owns are released on the loop's
    /// thread, never on the calling one. The caller keeps no reference. When the loop is gone already they
    /// are released here.
    static void handOverToLoop(std::shared_ptr<TaskStateBase> self, bool resume, std::shared_ptr<void> keep);
    /// Records the exception that ended the body.
    void setError(std::exception_ptr error) { error_ = std::move(error); }
    /// Called when the body ends; wakes the awaiters.
    void finish();
    /// Calls `fn` on the loop once the task is done (at once, posted, if it already is).
    void whenDone(std::function<void()> fn);

    /// The hook that wakes this task when it is cancelled while suspended; cleared on resumption.
    void setCancelHook(std::function<void()> hook) { cancelHook_ = std::move(hook); }

    std::exception_ptr error() const { return error_; }

    std::coroutine_handle<> handle;

private:
    MainLoop* loop_;
    bool cancelled_ = false;
    bool done_ = false;
    bool running_ = false;
    std::exception_ptr error_;
    std::vector<std::function<void()>> whenDone_;
    std::function<void()> cancelHook_;
};

/// The task whose body is running right now on this thread, or null outside a task.
TaskStateBase* currentTask();

template <typename T> class TaskState : public TaskStateBase {
public:
    using TaskStateBase::TaskStateBase;
    std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> value;
};

template <typename T> class PromiseBase {
public:
    /// A task cancelled before its first turn ends with `Cancelled` without running any of its body: the
    /// owner that cancelled it (a `TaskGroup` going away with its object) may be gone by then.
    auto initial_suspend() noexcept {
        struct Initial {
            PromiseBase* promise;
            bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<>) const noexcept {}
            void await_resume() const {
                if (promise->state_->isCancelled()) {
                    throw Cancelled{};
                }
            }
        };
        return Initial{this};
    }
    auto final_suspend() noexcept {
        struct Final {
            TaskStateBase* state;
            bool await_ready() noexcept { return false; }
            void await_suspend(std::coroutine_handle<> h) noexcept {
                auto keep = state->shared_from_this();
                state->handle = nullptr;
                keep->finish();
                h.destroy();
            }
            void await_resume() noexcept {}
        };
        return Final{state_};
    }
    void unhandled_exception() noexcept { state_->setError(std::current_exception()); }

    /// Every await first delivers a pending cancellation (but for awaiters that must run to keep memory
    /// safe, which declare `ignoresPendingCancellation`).
    template <typename A> decltype(auto) await_transform(A&& awaitable) {
        if constexpr (!requires { std::remove_cvref_t<A>::ignoresPendingCancellation; }) {
            if (state_->isCancelled()) {
                throw Cancelled{};
            }
        }
        return std::forward<A>(awaitable);
    }

    TaskState<T>* state_ = nullptr;
};

} // namespace detail

/// Thread-safe, one-shot resumption of a task suspended in `withContinuation`. The first `resume` or
/// `fail` wins; later ones, and those after the task was cancelled, are ignored. A continuation keeps its
/// task alive: whoever holds one can still resume it.
template <typename T> class Continuation {
public:
    struct State {
        std::mutex mutex;
        bool fired = false;
        std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> value;
        std::exception_ptr error;
    };
    Continuation(std::shared_ptr<State> s, std::shared_ptr<detail::TaskStateBase> task)
        : state_(std::move(s)), task_(std::move(task)) {}

    /// Each returns whether it took effect (false when already settled or cancelled).
    template <typename U = T>
    requires(!std::is_void_v<U>) bool resume(U value) const {
        return settle([&](State& s) { s.value.emplace(std::move(value)); });
    }
    template <typename U = T>
    requires std::is_void_v<U>
    bool resume() const {
        return settle([](State& s) { s.value.emplace(); });
    }
    bool fail(std::exception_ptr error) const {
        return settle([&](State& s) { s.error = std::move(error); });
    }
    bool isSettled() const {
        std::lock_guard lock(state_->mutex);
        return state_->fired;
    }

    /// Like `resume`/`fail`, for a thread other than the loop's that is done with the continuation: the
    /// references it holds (the task, the shared result) go to the loop with the resumption, so that the
    /// task and everything it owns are destroyed there even when this was their last owner. Leaves this
    /// continuation empty. Even when settled already, the references still go back to the loop.
    template <typename U = T>
    requires(!std::is_void_v<U>) bool resumeAndRelease(U value) && {
        return std::move(*this).settleAndRelease([&](State& s) { s.value.emplace(std::move(value)); });
    }
    template <typename U = T>
    requires std::is_void_v<U>
    bool resumeAndRelease() && {
        return std::move(*this).settleAndRelease([](State& s) { s.value.emplace(); });
    }
    bool failAndRelease(std::exception_ptr error) && {
        return std::move(*this).settleAndRelease([&](State& s) { s.error = std::move(error); });
    }

private:
    template <typename F> bool settleAndRelease(F&& store) && {
        bool settled = false;
        {
            std::lock_guard lock(state_->mutex);
            if (!state_->fired) {
                state_->fired = true;
                store(*state_);
                settled = true;
            }
        }
        detail::TaskStateBase::handOverToLoop(std::move(task_), settled, std::move(state_));
        return settled;
    }
    template <typename F> bool settle(F&& store) const {
        {
            std::lock_guard lock(state_->mutex);
            if (state_->fired) {
                return false;
            }
            state_->fired = true;
            store(*state_);
        }
        task_->scheduleResume();
        return true;
    }
    std::shared_ptr<State> state_;
    std::shared_ptr<detail::TaskStateBase> task_;
};

/// Suspends the current task; `start` receives the continuation (call it from any thread, now or later).
/// When the task is cancelled while waiting, `onCancel` runs on the main loop and the await throws
/// `Cancelled`; a later resume is ignored.
template <typename T>
auto withContinuation(std::function<void(Continuation<T>)> start, std::function<void()> onCancel = {}) {
    struct Awaiter {
        std::function<void(Continuation<T>)> start;
        std::function<void()> onCancel;
        std::shared_ptr<typename Continuation<T>::State> state =
            std::make_shared<typename Continuation<T>::State>();

        bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<>) {
            auto* task = detail::currentTask();
            assert(task && "withContinuation outside a Support::Task");
            // The hook is held by the task itself, so it must not own the task (no cycle).
            task->setCancelHook([s = state, task, cancel = std::move(onCancel)] {
                {
                    std::lock_guard lock(s->mutex);
                    if (s->fired) {
                        return;
                    }
                    s->fired = true;
                    s->error = std::make_exception_ptr(Cancelled{});
                }
                if (cancel) {
                    cancel();
                }
                task->scheduleResume();
            });
            start(Continuation<T>(state, task->shared_from_this()));
        }
        T await_resume() {
            auto* task = detail::currentTask();
            if (task && task->isCancelled()) {
                throw Cancelled{};
            }
            if (state->error) {
                std::rethrow_exception(state->error);
            }
            if constexpr (!std::is_void_v<T>) {
                return std::move(*state->value);
            }
        }
    };
    return Awaiter{std::move(start), std::move(onCancel)};
}

template <typename T = void> class [[nodiscard]] Task {
public:
    struct promise_type;
    using State = detail::TaskState<T>;
    using ValueType = T;

    Task() = default;

    bool isValid() const { return state_ != nullptr; }
    bool isDone() const { return state_ && state_->isDone(); }
    bool isCancelled() const { return state_ && state_->isCancelled(); }
    /// Marks the task cancelled; see the header comment. A finished task is not affected.
    void cancel() const {
        if (state_) {
            state_->cancel();
        }
    }
    /// True once done, when it ended with `Cancelled`.
    bool wasCancelled() const;
    /// The value (or the body's exception, rethrown). Only once done; outside tasks (tests, hosts).
    T get() const;
    /// Runs `fn` on the main loop once the task is done.
    void onComplete(std::function<void()> fn) const { state_->whenDone(std::move(fn)); }

    /// Awaiting gives the value or rethrows; any number of awaiters, before or after completion.
    auto operator co_await() const {
        auto state = state_;
        return withContinuation<T>([state](Continuation<T> c) {
            state->whenDone([state, c] {
                if (state->error()) {
                    c.fail(state->error());
                } else if constexpr (std::is_void_v<T>) {
                    c.resume();
                } else {
                    c.resume(*state->value);
                }
            });
        });
    }

    friend bool operator==(const Task& a, const Task& b) { return a.state_ == b.state_; }

    explicit Task(std::shared_ptr<State> s) : state_(std::move(s)) {}

private:
    std::shared_ptr<State> state_;
};

template <typename T> struct Task<T>::promise_type : detail::PromiseBase<T> {
    Task get_return_object() {
        auto state = std::make_shared<State>(MainLoop::current());
        state->handle = std::coroutine_handle<promise_type>::from_promise(*this);
        this->state_ = state.get();
        state->scheduleResume();
        return Task(std::move(state));
    }
    template <typename U> void return_value(U&& v) { this->state_->value.emplace(std::forward<U>(v)); }
};

template <> struct Task<void>::promise_type : detail::PromiseBase<void> {
    Task get_return_object() {
        auto state = std::make_shared<State>(MainLoop::current());
        state->handle = std::coroutine_handle<promise_type>::from_promise(*this);
        this->state_ = state.get();
        state->scheduleResume();
        return Task(std::move(state));
    }
    void return_void() { this->state_->value.emplace(); }
};

template <typename T> bool Task<T>::wasCancelled() const {
    if (!isDone() || !state_->error()) {
        return false;
    }
    try {
        std::rethrow_exception(state_->error());
    } catch (const Cancelled&) {
        return true;
    } catch (...) {
        return false;
    }
}

template <typename T> T Task<T>::get() const {
    assert(isDone());
    if (state_->error()) {
        std::rethrow_exception(state_->error());
    }
    if constexpr (!std::is_void_v<T>) {
        return *state_->value;
    }
}

namespace detail {
/// Awaits `inner` to its very end even when the awaiting task is cancelled (the cancellation is passed on
/// to `inner` instead), so that whatever `inner` borrows from the awaiting frame outlives it.
template <typename T> struct OwnedInnerAwaiter {
    static constexpr bool ignoresPendingCancellation = true;
    Task<T> inner;

    bool await_ready() const noexcept { return inner.isDone(); }
    void await_suspend(std::coroutine_handle<>) {
        auto* outer = currentTask();
        auto owner = outer->shared_from_this();
        if (outer->isCancelled()) {
            inner.cancel();
        }
        outer->setCancelHook([i = inner] { i.cancel(); });
        inner.onComplete([owner] { owner->scheduleResume(); });
    }
    T await_resume() {
        // The child may have finished before the awaiter was cancelled: the cancellation still wins.
        if (auto* outer = currentTask(); outer && outer->isCancelled()) {
            throw Cancelled{};
        }
        return inner.get();
    }
};
} // namespace detail

/// The one way for a task to await a child task it owns: `auto step = awaitOwned(child()); co_await step;`.
/// Unlike a plain `co_await child`, cancelling the awaiting task cancels the child too, and the await
/// returns only once the child has ended, so a child that borrows from the awaiting frame (handlers, sinks,
/// references) never runs after that frame is gone. Gives the child's value or rethrows its exception
/// (`Cancelled` included); an awaiter cancelled by the time it resumes throws `Cancelled` even when the child
/// finished with a value, so that a cancelled owner never carries on with it. With g++ 12, name the awaiter
/// (and build the child as a named local when it is used again) before `co_await`: it destroys by-value
/// temporaries made inside a co_await expression twice.
template <typename T> auto awaitOwned(Task<T> child) {
    return detail::OwnedInnerAwaiter<T>{std::move(child)};
}

/// Starts `f()` (a callable returning a Task) as a task that keeps `f`, and its captures, alive until the
/// inner task is done. Cancelling the returned task cancels the inner one.
template <typename F> auto startTask(F f) -> std::invoke_result_t<F&> {
    using TaskType = std::invoke_result_t<F&>;
    using Value = typename TaskType::ValueType;
    // Named awaiter, no temporaries inside co_await/co_return: g++ 12 mishandles those in coroutines.
    auto awaiter = awaitOwned(f());
    if constexpr (std::is_void_v<Value>) {
        co_await awaiter;
    } else {
        Value value = co_await awaiter;
        co_return value;
    }
}

/// True when the task running now has been cancelled (Swift's `Task.isCancelled`).
bool isCurrentTaskCancelled();
/// Throws `Cancelled` when the running task has been cancelled.
void checkCancellation();

/// Suspends the current task until the next turn of the main loop.
inline auto yieldNow() {
    return withContinuation<void>([](Continuation<void> c) { c.resume(); });
}

} // namespace Support

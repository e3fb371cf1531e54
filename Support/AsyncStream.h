// A stream of values that a task consumes with `co_await stream.next()` (nothing means the stream ended),
// fed by a producer on any thread (`yield`, `finish`, `fail`). Used for calendar change streams and
// generated text fragments. Values are buffered without limit, in order. One consumer at a time; a consumer
// that is cancelled while waiting gets `Cancelled`, and the buffered values stay for the next `next()`.
#pragma once

#include "Support/Task.h"

#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>

namespace Support {

template <typename T> class AsyncStream {
public:
    AsyncStream() : state_(std::make_shared<State>()) {}

    void yield(T value) const {
        std::lock_guard lock(state_->mutex);
        if (state_->finished) {
            return;
        }
        if (state_->waiter) {
            auto waiter = std::move(*state_->waiter);
            state_->waiter.reset();
            // A waiter cancelled meanwhile has settled already; the value then waits in the buffer.
            if (waiter.resume(std::optional<T>(value))) {
                return;
            }
        }
        state_->buffer.push_back(std::move(value));
    }
    void finish() const { end(nullptr); }
    void fail(std::exception_ptr error) const { end(std::move(error)); }
    bool isFinished() const {
        std::lock_guard lock(state_->mutex);
        return state_->finished;
    }

    /// The next value, or nothing once the stream finished; rethrows the producer's failure.
    auto next() const {
        auto s = state_;
        return withContinuation<std::optional<T>>([s](Continuation<std::optional<T>> c) {
            std::unique_lock lock(s->mutex);
            if (!s->buffer.empty()) {
                auto v = std::move(s->buffer.front());
                s->buffer.pop_front();
                lock.unlock();
                c.resume(std::optional<T>(std::move(v)));
            } else if (s->finished) {
                auto error = s->error;
                lock.unlock();
                if (error) {
                    c.fail(error);
                } else {
                    c.resume(std::optional<T>());
                }
            } else {
                s->waiter = c;
            }
        });
    }

private:
    struct State {
        std::mutex mutex;
        std::deque<T> buffer;
        bool finished = false;
        std::exception_ptr error;
        std::optional<Continuation<std::optional<T>>> waiter;
    };
    void end(std::exception_ptr error) const {
        std::optional<Continuation<std::optional<T>>> waiter;
        {
            std::lock_guard lock(state_->mutex);
            if (state_->finished) {
                return;
            }
            state_->finished = true;
            state_->error = error;
            waiter = std::move(state_->waiter);
            state_->waiter.reset();
        }
        if (waiter) {
            if (error) {
                waiter->fail(error);
            } else {
                waiter->resume(std::optional<T>());
            }
        }
    }
    std::shared_ptr<State> state_;
};

} // namespace Support

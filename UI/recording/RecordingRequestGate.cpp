#include "UI/recording/RecordingRequestGate.h"

#include "Support/Log.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace UI {

namespace {
const Support::Logger log("recording");
}

struct RecordingRequestGate::State {
    std::optional<Support::Task<>> lastTask;
    std::optional<Request> lastRequest;
    std::int64_t lastID = 0;
};

RecordingRequestGate::RecordingRequestGate() : state_(std::make_shared<State>()) {}
RecordingRequestGate::~RecordingRequestGate() = default;

std::optional<Support::Task<>> RecordingRequestGate::requestStart(Operation operation) {
    return enqueue(Request::start, std::move(operation));
}

std::optional<Support::Task<>> RecordingRequestGate::requestStop(Operation operation) {
    return enqueue(Request::stop, std::move(operation));
}

std::optional<Support::Task<>> RecordingRequestGate::enqueue(Request request, Operation operation) {
    if (state_->lastTask && state_->lastRequest == request) {
        return std::nullopt;
    }
    if (state_->lastID == std::numeric_limits<std::int64_t>::max()) {
        std::fputs("vellmora: recording request counter overflowed\n", stderr);
        std::abort();
    }
    const std::int64_t id = ++state_->lastID;
    std::optional<Support::Task<>> predecessor = state_->lastTask;
    std::weak_ptr<State> weak = state_;

    auto task =
        Support::startTask([weak, id, predecessor, operation = std::move(operation)]() -> Support::Task<> {
            if (predecessor) {
                try {
                    co_await *predecessor;
                } catch (...) {
                    // The predecessor's outcome is its own business; only its end matters here.
                }
            }
            try {
                co_await operation();
            } catch (const std::exception& e) {
                log.error("A recording request failed: {}", e.what());
            } catch (const Support::Cancelled&) {
                // A cancelled request still hands the gate on below.
            }
            if (auto state = weak.lock(); state && state->lastID == id) {
                state->lastTask.reset();
                state->lastRequest.reset();
            }
        });
    state_->lastTask = task;
    state_->lastRequest = request;
    return task;
}

Support::Task<> RecordingRequestGate::waitUntilIdle() {
    std::weak_ptr<State> weak = state_;
    return Support::startTask([weak]() -> Support::Task<> {
        for (;;) {
            auto state = weak.lock();
            if (!state || !state->lastTask) {
                co_return;
            }
            auto task = *state->lastTask;
            state.reset();
            try {
                co_await task;
            } catch (const Support::Cancelled&) {
                throw;
            } catch (...) {
            }
            state = weak.lock();
            if (!state || !state->lastTask || *state->lastTask == task) {
                co_return;
            }
        }
    });
}

bool RecordingRequestGate::isIdle() const {
    return !state_->lastTask.has_value();
}
std::optional<RecordingRequestGate::Request> RecordingRequestGate::lastRequest() const {
    return state_->lastRequest;
}
std::int64_t RecordingRequestGate::lastID() const {
    return state_->lastID;
}

} // namespace UI

// The one road by which recording starts and stops: serialises start and stop requests so that two never
// run at the same time. Requests run strictly one after another in the order they were accepted; none is
// cancelled and a newer one never overtakes an older one. A request equal to the most recently enqueued one
// (not the running one) is dropped while that one is pending: start, start gives one start; start, stop,
// start gives three. The gate is idle (no last task) only once the newest accepted request has finished.
//
// Operations are supplied by the host (calls into the capture engine); they run on the main loop and must
// report their own failures (an operation that throws anyway is logged and treated as finished). Pending
// tasks hold the gate weakly: destroying the gate lets them finish without touching it. Main loop only.
#pragma once

#include "Support/Task.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace UI {

class RecordingRequestGate {
public:
    enum class Request { start, stop };
    using Operation = std::function<Support::Task<>()>;

    RecordingRequestGate();
    ~RecordingRequestGate();

    /// The task that will run `operation`, or nothing when the request was dropped as a duplicate.
    std::optional<Support::Task<>> requestStart(Operation operation);
    std::optional<Support::Task<>> requestStop(Operation operation);
    std::optional<Support::Task<>> enqueue(Request request, Operation operation);

    /// Returns once no request task is pending.
    Support::Task<> waitUntilIdle();

    bool isIdle() const;
    std::optional<Request> lastRequest() const;
    std::int64_t lastID() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace UI

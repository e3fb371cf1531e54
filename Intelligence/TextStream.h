// A stream of generated text fragments: what the engine yields while a model writes, consumed by one task
// with `co_await stream.next()` (nothing once the answer is complete; the producer's failure is rethrown).
//
// The producer runs as its own task from the moment the stream is made. Cancelling the stream, or dropping
// the last copy of it, cancels the producer: an HTTP transfer behind it stops. A consumer cancelled while
// waiting gets `Support::Cancelled` and, when it lets the stream go, stops the producer too, so that
// "cancel the job's task" is enough to stop a generation.
#pragma once

#include "Support/AsyncStream.h"
#include "Support/Task.h"

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace Intelligence {

class TextStream {
public:
    using Sink = Support::AsyncStream<std::string>;
    /// Yields fragments into the sink; returning ends the stream, throwing fails it.
    using Producer = std::function<Support::Task<void>(Sink)>;

    /// Starts `producer` now (its task runs from the next turn of the main loop).
    static TextStream make(Producer producer);
    /// A stream that ends at once with no text.
    static TextStream empty();
    /// A stream that fails at once with `error`.
    static TextStream failing(std::exception_ptr error);

    /// The next fragment, or nothing at the end.
    auto next() const { return state_->sink.next(); }
    /// Stops the producer; a waiting consumer gets the end of the stream with `Support::Cancelled`.
    void cancel() const;

    /// Every fragment joined (for callers that need the whole answer).
    static Support::Task<std::string> collect(TextStream stream);

private:
    struct State {
        Sink sink{};
        Support::Task<void> producer{};
        ~State() { producer.cancel(); }
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace Intelligence

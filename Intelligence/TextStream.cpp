#include "Intelligence/TextStream.h"

namespace Intelligence {

TextStream TextStream::make(Producer producer) {
    TextStream stream;
    auto sink = stream.state_->sink;
    stream.state_->producer =
        Support::startTask([producer = std::move(producer), sink]() -> Support::Task<void> {
            try {
                auto body = Support::awaitOwned(producer(sink));
                co_await body;
                sink.finish();
            } catch (...) {
                sink.fail(std::current_exception());
            }
        });
    return stream;
}

TextStream TextStream::empty() {
    TextStream stream;
    stream.state_->sink.finish();
    return stream;
}

TextStream TextStream::failing(std::exception_ptr error) {
    TextStream stream;
    stream.state_->sink.fail(std::move(error));
    return stream;
}

void TextStream::cancel() const {
    state_->producer.cancel();
    state_->sink.fail(std::make_exception_ptr(Support::Cancelled{}));
}

Support::Task<std::string> TextStream::collect(TextStream stream) {
    std::string text;
    while (true) {
        auto fragment = co_await stream.next();
        if (!fragment) {
            break;
        }
        text += *fragment;
    }
    co_return text;
}

} // namespace Intelligence

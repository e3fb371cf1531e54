// A scripted HttpClient for tests: answers come from a queue (or a handler when the queue is empty), every
// request is recorded, and answers can be held back until a test releases them. A streamed answer delivers
// its chunks one per main-loop turn, so a test can cancel between chunks.
#pragma once

#include "Platform/HttpClient.h"
#include "Support/Task.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Fakes {

class FakeHttpClient : public Platform::HttpClient {
public:
    struct Answer {
        int status = 200;
        Platform::HttpHeaders headers;
        /// The body, in the pieces a stream delivers (`send` joins them).
        std::vector<std::string> chunks;
        /// When set, the transfer fails with this error after the chunks were delivered.
        std::optional<Platform::HttpTransportError> error;

        static Answer ok(std::string body, int status = 200) {
            Answer a;
            a.status = status;
            a.chunks.push_back(std::move(body));
            return a;
        }
        static Answer failure(Platform::HttpTransportError::Kind kind,
                              std::string description = "The network connection was lost.") {
            Answer a;
            a.error.emplace(kind, description);
            return a;
        }
    };

    /// Answers in order; when the queue is empty `handler` answers (default: 404 with an empty body).
    void enqueue(Answer answer) { queue_.push_back(std::move(answer)); }
    std::function<Answer(const Platform::HttpRequest&)> handler;

    /// While true, transfers wait until `releaseAll()`.
    bool holdRequests = false;
    void releaseAll() {
        auto waiting = std::move(held_);
        held_.clear();
        for (auto& c : waiting) {
            c.resume();
        }
    }
    size_t heldCount() const { return held_.size(); }

    std::vector<Platform::HttpRequest> requests;
    int cancelledTransfers() const { return *cancelled_; }

    Support::Task<Platform::HttpResponse> send(Platform::HttpRequest request) override {
        return run(std::move(request), std::nullopt);
    }
    Support::Task<Platform::HttpResponse> stream(Platform::HttpRequest request,
                                                 Platform::HttpStreamHandlers handlers) override {
        return run(std::move(request), std::move(handlers));
    }

private:
    Answer next(const Platform::HttpRequest& request) {
        if (!queue_.empty()) {
            auto a = std::move(queue_.front());
            queue_.pop_front();
            return a;
        }
        if (handler) {
            return handler(request);
        }
        return Answer::ok("", 404);
    }

    Support::Task<Platform::HttpResponse> run(Platform::HttpRequest request,
                                              std::optional<Platform::HttpStreamHandlers> handlers) {
        requests.push_back(request);
        auto answer = next(request);
        auto cancelled = cancelled_;
        try {
            if (holdRequests) {
                std::function<void(Support::Continuation<void>)> hold =
                    [this](Support::Continuation<void> c) { held_.push_back(c); };
                auto held = Support::withContinuation<void>(std::move(hold));
                co_await held;
            }
            Platform::HttpResponse response{answer.status, answer.headers, {}};
            if (handlers && handlers->onResponse && !answer.error) {
                handlers->onResponse(response);
            }
            for (auto& chunk : answer.chunks) {
                if (handlers) {
                    co_await Support::yieldNow();
                    if (handlers->onChunk) {
                        handlers->onChunk(chunk);
                    }
                } else {
                    response.body += chunk;
                }
            }
            co_await Support::yieldNow();
            if (answer.error) {
                throw *answer.error;
            }
            co_return response;
        } catch (const Support::Cancelled&) {
            ++*cancelled;
            throw;
        }
    }

    std::deque<Answer> queue_;
    std::vector<Support::Continuation<void>> held_;
    std::shared_ptr<int> cancelled_ = std::make_shared<int>(0);
};

} // namespace Fakes

// A scripted `Platform::ProcessRunner`: records every request and answers with the next scripted result (or
// throws the scripted start failure). Without a script left, it answers exit status 0 with no output.
#pragma once

#include "Platform/ProcessRunner.h"

#include <deque>
#include <mutex>
#include <system_error>
#include <variant>

namespace Fakes {

class FakeProcessRunner : public Platform::ProcessRunner {
public:
    using Answer = std::variant<Platform::ProcessResult, std::error_code>;

    void script(Platform::ProcessResult result) {
        std::lock_guard lock(mutex_);
        answers_.push_back(std::move(result));
    }
    void scriptStartFailure(std::errc error) {
        std::lock_guard lock(mutex_);
        answers_.push_back(std::make_error_code(error));
    }
    std::vector<Platform::ProcessRequest> requests() const {
        std::lock_guard lock(mutex_);
        return requests_;
    }

    Platform::ProcessResult runBlocking(const Platform::ProcessRequest& request) override {
        std::lock_guard lock(mutex_);
        requests_.push_back(request);
        if (answers_.empty()) {
            return {};
        }
        auto answer = std::move(answers_.front());
        answers_.pop_front();
        if (auto* error = std::get_if<std::error_code>(&answer)) {
            throw std::system_error(*error, request.executable);
        }
        return std::get<Platform::ProcessResult>(answer);
    }

private:
    mutable std::mutex mutex_;
    std::deque<Answer> answers_;
    std::vector<Platform::ProcessRequest> requests_;
};

} // namespace Fakes

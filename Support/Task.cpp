#include "Support/Task.h"

#include "Support/Log.h"

namespace Support {

namespace detail {

namespace {
thread_local TaskStateBase* runningTask = nullptr;
const Logger& taskLog() {
    static const Logger log("tasks");
    return log;
}
} // namespace

TaskStateBase* currentTask() {
    return runningTask;
}

TaskStateBase::~TaskStateBase() {
    // Nothing can resume this task any more: release its frame (and the locals in it).
    if (handle) {
        auto h = std::exchange(handle, nullptr);
        h.destroy();
    }
    if (loop_) {
        loop_->unregisterTask(this);
    }
}

void TaskStateBase::detachFromLoop() {
    loop_ = nullptr;
    cancelHook_ = nullptr;
    whenDone_.clear();
    if (handle && !running_) {
        auto h = std::exchange(handle, nullptr);
        h.destroy();
    }
}

void TaskStateBase::cancel() {
    if (done_ || cancelled_) {
        return;
    }
    cancelled_ = true;
    if (auto hook = std::exchange(cancelHook_, nullptr)) {
        hook();
    }
}

void TaskStateBase::resume() {
    if (done_ || !handle || running_) {
        return;
    }
    auto keep = shared_from_this();
    cancelHook_ = nullptr;
    TaskStateBase* previous = std::exchange(runningTask, this);
    running_ = true;
    handle.resume();
    running_ = false;
    runningTask = previous;
}

void TaskStateBase::scheduleResume() {
    if (loop_) {
        loop_->post([self = shared_from_this()] { self->resume(); });
    }
}

void TaskStateBase::finish() {
    done_ = true;
    running_ = false;
    cancelHook_ = nullptr;
    if (error_) {
        try {
            std::rethrow_exception(error_);
        } catch (const Cancelled&) {
        } catch (const std::exception& e) {
            taskLog().info("A task ended with an error: {}", e.what());
        } catch (...) {
            taskLog().info("A task ended with an unknown error");
        }
    }
    auto callbacks = std::exchange(whenDone_, {});
    if (loop_) {
        for (auto& fn : callbacks) {
            loop_->post(std::move(fn));
        }
    }
}

void TaskStateBase::whenDone(std::function<void()> fn) {
    if (!loop_) {
        return;
    }
    if (done_) {
        loop_->post(std::move(fn));
    } else {
        whenDone_.push_back(std::move(fn));
    }
}

} // namespace detail

bool isCurrentTaskCancelled() {
    auto* task = detail::currentTask();
    return task && task->isCancelled();
}

void checkCancellation() {
    if (isCurrentTaskCancelled()) {
        throw Cancelled{};
    }
}

} // namespace Support

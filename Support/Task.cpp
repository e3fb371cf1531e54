#include "Support/Task.h"

#include "Support/Log.h"

#include <mutex>

namespace Support {

namespace detail {

namespace {
thread_local TaskStateBase* runningTask = nullptr;
// Guards every task's link to its loop: a thread that resumes a task reads it while the loop, going away on
// its own thread, clears it; with the link cleared under this lock, nothing posts into a loop being
// destroyed.
std::mutex& loopLinkMutex() {
    static std::mutex mutex;
    return mutex;
}
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
    // The last owner may be another thread (whoever resumed the task last): the registry takes that.
    MainLoop* loop = nullptr;
    {
        std::lock_guard lock(loopLinkMutex());
        loop = loop_;
    }
    if (loop) {
        loop->unregisterTask(this);
    }
}

void TaskStateBase::detachFromLoop() {
    {
        std::lock_guard lock(loopLinkMutex());
        loop_ = nullptr;
    }
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
    auto self = shared_from_this();
    std::lock_guard lock(loopLinkMutex());
    if (loop_) {
        loop_->post([self = std::move(self)] { self->resume(); });
    }
}

void TaskStateBase::handOverToLoop(std::shared_ptr<TaskStateBase> self, bool resume,
                                   std::shared_ptr<void> keep) {
    std::unique_lock lock(loopLinkMutex());
    if (auto* loop = self->loop_) {
        // Moved into the posted closure: once `post` returns, this thread holds no reference.
        loop->post([self = std::move(self), resume, keep = std::move(keep)]() mutable {
            if (resume) {
                self->resume();
            }
            keep.reset();
            self.reset();
        });
        return;
    }
    lock.unlock();
    // The loop is gone: nothing runs on its thread any more, the references are released here.
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

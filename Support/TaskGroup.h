// An owner-scoped set of tasks: an object holds a `TaskGroup` as a member and starts through it the tasks
// that use `this`; when the object (and so the group) is destroyed, or on `cancelAll()`, every task still
// running is cancelled. Cancellation arrives at a task's next await as `Support::Cancelled`, so a body that
// reaches `this` only between awaits never touches a destroyed owner: declare the group after the members
// its tasks use, so that it is destroyed (and cancels) first.
//
// Used by view models, coordinators and windows in place of hand-made liveness flags. Tasks that end are
// forgotten (the group does not grow). Edge cases: a task started in the same turn as its owner is
// destroyed runs none of its body (cancelled before its first turn); a task that is running at the moment its
// owner is destroyed (the owner destroyed from inside the task) is only stopped at its next await; a body
// that catches `Cancelled` must not touch the owner in its handler. A copy of a started task's handle may be
// kept (to await it, or to cancel it alone); it stays valid after the group is gone. Main loop only.
#pragma once

#include "Support/Task.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <type_traits>

namespace Support {

class TaskGroup {
public:
    TaskGroup() = default;
    ~TaskGroup();
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;

    /// Starts `f()` like `startTask(f)` (the callable and its captures live until the task ends) and keeps
    /// it in the group until it ends. Returns the task's handle.
    template <typename F> auto start(F f) -> std::invoke_result_t<F&> { return add(startTask(std::move(f))); }

    /// Adds a task already started, to be cancelled with the group; returns it (`return tasks_.add(body())`
    /// in a member that starts a member coroutine).
    template <typename T> Task<T> add(Task<T> task) {
        if (!task.isValid() || task.isDone()) {
            return task;
        }
        const auto id = remember([task] { task.cancel(); });
        std::weak_ptr<Members> members = members_;
        task.onComplete([members, id] {
            if (auto m = members.lock()) {
                m->cancels.erase(id);
            }
        });
        return task;
    }

    /// Cancels every task in the group (the group stays usable for new tasks).
    void cancelAll();
    /// How many tasks are in the group and not known to have ended.
    std::size_t size() const { return members_->cancels.size(); }

private:
    struct Members {
        std::uint64_t nextID = 0;
        std::map<std::uint64_t, std::function<void()>> cancels;
    };
    std::uint64_t remember(std::function<void()> cancel);

    std::shared_ptr<Members> members_ = std::make_shared<Members>();
};

} // namespace Support

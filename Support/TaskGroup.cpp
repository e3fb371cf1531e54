#include "Support/TaskGroup.h"

#include <utility>

namespace Support {

TaskGroup::~TaskGroup() {
    cancelAll();
}

std::uint64_t TaskGroup::remember(std::function<void()> cancel) {
    const auto id = members_->nextID++;
    members_->cancels.emplace(id, std::move(cancel));
    return id;
}

void TaskGroup::cancelAll() {
    // Cancelling may run hooks that start or end other tasks of the group: work on a detached list.
    auto cancels = std::exchange(members_->cancels, {});
    for (auto& [id, cancel] : cancels) {
        cancel();
    }
}

} // namespace Support

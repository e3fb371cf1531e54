// One running host per user (and one demo): an exclusive lock on a file in the runtime folder, released by
// the kernel when the process ends, so a crash never leaves a stale lock behind.
#pragma once

#include "Support/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace App {

class InstanceLock {
public:
    /// Nothing when another process holds the lock.
    static std::optional<InstanceLock> acquire(const std::string& name);
    InstanceLock(InstanceLock&&) noexcept = default;
    InstanceLock(const InstanceLock&) = delete;

private:
    explicit InstanceLock(Support::FileDescriptor fd) : fd_(std::move(fd)) {}
    Support::FileDescriptor fd_;
};

} // namespace App

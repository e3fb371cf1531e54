// One running host per user (and one demo): an exclusive lock on a file in the runtime folder, released by
// the kernel when the process ends, so a crash never leaves a stale lock behind.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace App {

class InstanceLock {
public:
    /// Nothing when another process holds the lock.
    static std::optional<InstanceLock> acquire(const std::string& name);
    InstanceLock(InstanceLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    InstanceLock(const InstanceLock&) = delete;
    ~InstanceLock();

private:
    explicit InstanceLock(int fd) : fd_(fd) {}
    int fd_ = -1;
};

} // namespace App

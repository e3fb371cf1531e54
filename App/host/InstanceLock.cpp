#include "App/host/InstanceLock.h"

#include "Support/Files.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace App {

std::optional<InstanceLock> InstanceLock::acquire(const std::string& name) {
    std::filesystem::path path;
    try {
        path = Support::Files::runtimeFolder() / (name + ".lock");
    } catch (const std::system_error&) {
        return InstanceLock(
            Support::FileDescriptor()); // nowhere private to lock in: do not refuse to run for that
    }
    Support::FileDescriptor fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd) {
        return InstanceLock(
            Support::FileDescriptor()); // cannot lock (read-only folder): do not refuse to run for that
    }
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        return std::nullopt;
    }
    return InstanceLock(std::move(fd));
}

} // namespace App

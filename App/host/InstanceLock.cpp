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
        return InstanceLock(-1); // nowhere private to lock in: do not refuse to run for that
    }
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        return InstanceLock(-1); // cannot lock (read-only folder): do not refuse to run for that
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return std::nullopt;
    }
    return InstanceLock(fd);
}

InstanceLock::~InstanceLock() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

} // namespace App

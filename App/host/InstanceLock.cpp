#include "App/host/InstanceLock.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace App {

std::optional<InstanceLock> InstanceLock::acquire(const std::string& name) {
    std::filesystem::path folder;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        folder = runtime;
    } else {
        folder = std::filesystem::temp_directory_path();
    }
    auto path = folder / fmt::format("{}-{}.lock", name, ::getuid());
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

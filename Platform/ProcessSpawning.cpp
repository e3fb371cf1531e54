#include "Platform/ProcessSpawning.h"

#include <csignal>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Platform {

bool isExecutableFile(const std::filesystem::path& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::optional<std::filesystem::path> findExecutable(const std::string& tool,
                                                    const std::string& pathVariable) {
    std::stringstream path(pathVariable);
    std::string dir;
    while (std::getline(path, dir, ':')) {
        if (dir.empty()) {
            continue;
        }
        std::filesystem::path candidate = dir + "/" + tool;
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

void initSpawnAttributes(posix_spawnattr_t& attributes) {
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGTERM);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

int exitStatusOf(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    if (WIFSIGNALED(waitStatus)) {
        return 128 + WTERMSIG(waitStatus);
    }
    return -1;
}

} // namespace Platform

#include "Intelligence/ToolProcess.h"

#include "Support/FileDescriptor.h"
#include "Support/Text.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace Intelligence::ToolProcess {

std::optional<std::filesystem::path> find(const std::string& name) {
    const char* path = std::getenv("PATH");
    if (path == nullptr || name.empty() || name.find('/') != std::string::npos) {
        return std::nullopt;
    }
    for (const auto& folder : Support::Text::split(path, ':')) {
        if (folder.empty()) {
            continue;
        }
        auto candidate = std::filesystem::path(folder) / name;
        std::error_code ec;
        if (std::filesystem::is_regular_file(candidate, ec) && ::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

Result run(const std::vector<std::string>& arguments, const std::atomic<bool>& cancelled,
           std::size_t outputLimit) {
    if (arguments.empty()) {
        throw std::invalid_argument("no program to run");
    }
    int outPipe[2];
    int errPipe[2];
    if (::pipe2(outPipe, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    Support::FileDescriptor outRead(outPipe[0]), outWrite(outPipe[1]);
    if (::pipe2(errPipe, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    Support::FileDescriptor errRead(errPipe[0]), errWrite(errPipe[1]);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outWrite.get(), 1);
    posix_spawn_file_actions_adddup2(&actions, errWrite.get(), 2);

    std::vector<char*> argv;
    for (const auto& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    // Its own process group, so that cancelling also stops whatever the tool started itself.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    pid_t pid = 0;
    int spawned = ::posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0) {
        throw std::system_error(spawned, std::generic_category(), "couldn't start " + arguments[0]);
    }
    outWrite.reset();
    errWrite.reset();

    Result result;
    bool terminated = false;
    Support::FileDescriptor* sources[2] = {&outRead, &errRead};
    std::string* sinks[2] = {&result.output, &result.errorOutput};
    char buffer[16384];
    while (outRead || errRead) {
        if (cancelled.load() && !terminated) {
            ::kill(-pid, SIGTERM);
            terminated = true;
            result.wasCancelled = true;
        }
        pollfd fds[2];
        int count = 0;
        int which[2];
        for (int i = 0; i < 2; ++i) {
            if (*sources[i]) {
                fds[count] = {sources[i]->get(), POLLIN, 0};
                which[count++] = i;
            }
        }
        int ready = ::poll(fds, count, 100);
        if (ready < 0 && errno != EINTR) {
            break;
        }
        for (int k = 0; k < count && ready > 0; ++k) {
            if ((fds[k].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
                continue;
            }
            ssize_t n = ::read(fds[k].fd, buffer, sizeof buffer);
            if (n <= 0) {
                if (n < 0 && errno == EINTR) {
                    continue;
                }
                sources[which[k]]->reset();
                continue;
            }
            auto& sink = *sinks[which[k]];
            if (sink.size() < outputLimit) {
                sink.append(buffer,
                            std::min<std::size_t>(static_cast<std::size_t>(n), outputLimit - sink.size()));
            }
        }
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

} // namespace Intelligence::ToolProcess

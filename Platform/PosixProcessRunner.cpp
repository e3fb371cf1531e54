#include "Platform/PosixProcessRunner.h"

#include "Platform/ProcessSpawning.h"
#include "Support/FileDescriptor.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace Platform {

namespace {

struct Pipe {
    Support::FileDescriptor read;
    Support::FileDescriptor write;
    void open() {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        read.reset(fds[0]);
        write.reset(fds[1]);
    }
};

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> out;
    for (auto& s : strings) {
        out.push_back(s.data());
    }
    out.push_back(nullptr);
    return out;
}

} // namespace

ProcessResult PosixProcessRunner::runBlocking(const ProcessRequest& request) {
    Pipe in, out, err;
    in.open();
    if (request.captureOutput) {
        out.open();
        err.open();
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.read.get(), STDIN_FILENO);
    if (request.captureOutput) {
        posix_spawn_file_actions_adddup2(&actions, out.write.get(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, err.write.get(), STDERR_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    posix_spawnattr_t attributes;
    initSpawnAttributes(attributes);

    std::vector<std::string> argv = {request.executable};
    argv.insert(argv.end(), request.arguments.begin(), request.arguments.end());
    auto argvPointers = pointers(argv);
    std::vector<std::string> envStrings;
    std::vector<char*> envPointers;
    if (request.environment) {
        for (const auto& [k, v] : *request.environment) {
            envStrings.push_back(k + "=" + v);
        }
        envPointers = pointers(envStrings);
    }

    pid_t pid = 0;
    int spawned = ::posix_spawn(&pid, request.executable.c_str(), &actions, &attributes, argvPointers.data(),
                                request.environment ? envPointers.data() : environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0) {
        throw std::system_error(spawned, std::generic_category(), request.executable);
    }
    in.read.reset();
    out.write.reset();
    err.write.reset();

    ProcessResult result;
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> deadline;
    if (request.timeout) {
        deadline = Clock::now() + *request.timeout;
    }
    std::string_view pendingInput = request.standardInput;
    if (pendingInput.empty()) {
        in.write.reset();
    } else {
        ::fcntl(in.write.get(), F_SETFL, O_NONBLOCK);
    }

    while (in.write || out.read || err.read) {
        pollfd fds[3];
        nfds_t count = 0;
        auto add = [&](int fd, short events) {
            if (fd >= 0) {
                fds[count++] = pollfd{fd, events, 0};
            }
        };
        add(in.write.get(), POLLOUT);
        add(out.read.get(), POLLIN);
        add(err.read.get(), POLLIN);
        int waitMs = -1;
        if (deadline) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now()).count();
            waitMs = static_cast<int>(std::max<long long>(0, left));
        }
        int ready = ::poll(fds, count, waitMs);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready == 0 && deadline && Clock::now() >= *deadline) {
            result.timedOut = true;
            break;
        }
        for (nfds_t i = 0; i < count; ++i) {
            if (!fds[i].revents) {
                continue;
            }
            if (fds[i].fd == in.write.get()) {
                ssize_t n = ::write(in.write.get(), pendingInput.data(), pendingInput.size());
                if (n > 0) {
                    pendingInput.remove_prefix(static_cast<size_t>(n));
                }
                if ((n < 0 && errno != EAGAIN && errno != EINTR) || pendingInput.empty()) {
                    in.write.reset();
                }
                continue;
            }
            char buffer[16384];
            ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                (fds[i].fd == out.read.get() ? result.standardOutput : result.standardError)
                    .append(buffer, size_t(n));
            } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
                (fds[i].fd == out.read.get() ? out.read : err.read).reset();
            }
        }
    }

    // The outputs may close before the program ends: the time-out still holds while waiting for it.
#ifdef SYS_pidfd_open
    if (!result.timedOut && deadline) {
        if (Support::FileDescriptor pidfd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))); pidfd) {
            for (;;) {
                auto left =
                    std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now()).count();
                pollfd fd{pidfd.get(), POLLIN, 0};
                int ready = ::poll(&fd, 1, static_cast<int>(std::max<long long>(0, left)));
                if (ready < 0 && errno == EINTR) {
                    continue;
                }
                result.timedOut = ready == 0;
                break;
            }
        }
    }
#endif
    if (result.timedOut) {
        ::kill(-pid, SIGKILL);
        ::kill(pid, SIGKILL);
    }
    int raw = 0;
    while (::waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
    }
    result.exitStatus = exitStatusOf(raw);
    return result;
}

} // namespace Platform

#include "Platform/ChildProcess.h"

#include "Platform/ProcessSpawning.h"
#include "Support/MainLoop.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace Platform {

ChildProcess::ChildProcess(const Options& options) {
    std::vector<std::string> argv = {options.executable};
    if (options.parentDeathSignal != 0) {
        static const auto setpriv = findExecutable("setpriv", "/usr/bin:/bin");
        const char* name = ::sigabbrev_np(options.parentDeathSignal);
        if (setpriv && name) {
            // setpriv would start and then fail: a program that cannot be run is refused here instead.
            if (::access(options.executable.c_str(), X_OK) != 0) {
                throw std::system_error(errno, std::generic_category(), options.executable);
            }
            // The death signal is the spawning thread's: the main loop's, which lasts as long as the process.
            argv = {setpriv->string(), "--pdeathsig", name, "--", options.executable};
        }
    }
    int pipeFds[2] = {-1, -1};
    if (options.output == Output::pipe && ::pipe2(pipeFds, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    Support::FileDescriptor readEnd(pipeFds[0]), writeEnd(pipeFds[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    switch (options.output) {
    case Output::discard:
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        break;
    case Output::pipe:
        posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
        break;
    case Output::file:
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, options.outputFile.c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0600);
        break;
    }
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    for (int fd : options.inheritedDescriptors) {
        // dup2 onto itself clears close-on-exec in the child only.
        posix_spawn_file_actions_adddup2(&actions, fd, fd);
    }

    posix_spawnattr_t attributes;
    initSpawnAttributes(attributes);

    argv.insert(argv.end(), options.arguments.begin(), options.arguments.end());
    std::vector<char*> pointers;
    for (auto& a : argv) {
        pointers.push_back(a.data());
    }
    pointers.push_back(nullptr);
    int spawned = ::posix_spawn(&pid_, argv.front().c_str(), &actions, &attributes, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    writeEnd.reset();
    if (spawned != 0) {
        throw std::system_error(spawned, std::generic_category(), options.executable);
    }
    output_ = std::move(readEnd);
    if (output_) {
        ::fcntl(output_.get(), F_SETFL, ::fcntl(output_.get(), F_GETFL) | O_NONBLOCK);
    }

    pidfd_.reset(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
    if (!pidfd_) {
        int error = errno;
        ::kill(-pid_, SIGKILL);
        ::kill(pid_, SIGKILL);
        reap();
        output_.reset();
        throw std::system_error(error, std::generic_category(), "pidfd_open");
    }
    exitWatch_ = Support::MainLoop::current().watchReadable(pidfd_.get(), [this] {
        reap();
        if (exitStatus_) {
            exitWatch_.reset();
            exited_.emit(*exitStatus_);
        }
    });
}

ChildProcess::~ChildProcess() {
    *alive_ = false;
    exitWatch_.reset();
    if (!exitStatus_) {
        ::kill(-pid_, SIGKILL);
        ::kill(pid_, SIGKILL);
        int raw = 0;
        while (::waitpid(pid_, &raw, 0) < 0 && errno == EINTR) {
        }
    }
}

void ChildProcess::reap() {
    int raw = 0;
    pid_t done = 0;
    while ((done = ::waitpid(pid_, &raw, WNOHANG)) < 0 && errno == EINTR) {
    }
    if (done == pid_) {
        exitStatus_ = exitStatusOf(raw);
    } else if (done < 0) {
        exitStatus_ = -1; // already reaped elsewhere: it is gone either way
    }
}

void ChildProcess::signal(int signal) {
    if (!exitStatus_) {
        ::kill(-pid_, signal);
    }
}

Support::Subscription ChildProcess::onExit(std::function<void(int)> observer) {
    if (!exitStatus_) {
        return exited_.connect(std::move(observer));
    }
    auto live = std::make_shared<bool>(true);
    Support::MainLoop::current().post(
        [alive = alive_, live, observer = std::move(observer), status = *exitStatus_] {
            if (*alive && *live) {
                observer(status);
            }
        });
    return Support::Subscription([live] { *live = false; });
}

Support::Task<int> ChildProcess::waitForExit() {
    auto watch = std::make_shared<Support::Subscription>();
    auto awaiter = Support::withContinuation<int>(
        [this, watch](Support::Continuation<int> c) {
            *watch = onExit([c](int status) { c.resume(status); });
        },
        [watch] { watch->reset(); });
    co_return co_await awaiter;
}

Support::Task<bool> endsWithin(ChildProcess& child, Support::Scheduler& scheduler, Support::Duration limit) {
    struct Race {
        Support::Subscription exit;
        Support::Subscription timer;
    };
    auto race = std::make_shared<Race>();
    auto awaiter = Support::withContinuation<bool>(
        [&child, &scheduler, race, limit](Support::Continuation<bool> c) {
            race->exit = child.onExit([c](int) { c.resume(true); });
            race->timer = scheduler.after(limit, [c] { c.resume(false); });
        },
        [race] {
            race->exit.reset();
            race->timer.reset();
        });
    bool ended = co_await awaiter;
    co_return ended;
}

Support::Task<bool> interruptWithin(ChildProcess& child, Support::Scheduler& scheduler,
                                    Support::Duration limit) {
    child.signal(SIGINT);
    if (co_await endsWithin(child, scheduler, limit)) {
        co_return true;
    }
    child.signal(SIGKILL);
    co_await child.waitForExit();
    co_return false;
}

std::string lastLogLine(const std::filesystem::path& logFile, std::string_view skippedPrefix) {
    if (logFile.empty()) {
        return {};
    }
    std::ifstream in(logFile);
    std::string line, last;
    while (std::getline(in, line)) {
        auto cut = line.find_last_of('\r');
        auto tail = cut == std::string::npos ? line : line.substr(cut + 1);
        if (!tail.empty() && (skippedPrefix.empty() || !tail.starts_with(skippedPrefix))) {
            last = tail;
        }
    }
    return last;
}

} // namespace Platform

#include "App/host/SignalWatcher.h"

#include <csignal>
#include <stdexcept>
#include <sys/signalfd.h>
#include <unistd.h>

namespace App {

namespace {
sigset_t quitSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}
} // namespace

void SignalWatcher::blockQuitSignals() {
    sigset_t set = quitSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

SignalWatcher::SignalWatcher(Support::MainLoop& loop, std::function<void(int)> onSignal)
    : onSignal_(std::move(onSignal)) {
    blockQuitSignals();
    sigset_t set = quitSignals();
    fd_.reset(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!fd_) {
        throw std::runtime_error("cannot watch for quit signals");
    }
    watch_ = loop.watchReadable(fd_.get(), [this] {
        signalfd_siginfo info{};
        while (::read(fd_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            onSignal_(static_cast<int>(info.ssi_signo));
        }
    });
}

SignalWatcher::~SignalWatcher() {
    watch_.reset();
    fd_.reset();
    sigset_t set = quitSignals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace App

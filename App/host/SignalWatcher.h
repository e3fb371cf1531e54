// SIGINT and SIGTERM delivered on the main loop (through a signalfd), so that quitting stops a running
// recording through the gate instead of killing it. The signals are blocked for the whole process while a
// watcher lives, and unblocked again when it goes.
#pragma once

#include "Support/MainLoop.h"

#include <functional>

namespace App {

class SignalWatcher {
public:
    SignalWatcher(Support::MainLoop& loop, std::function<void(int signal)> onSignal);
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;

private:
    int fd_ = -1;
    Support::Subscription watch_;
    std::function<void(int)> onSignal_;
};

} // namespace App

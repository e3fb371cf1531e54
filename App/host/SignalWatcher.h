// SIGINT and SIGTERM delivered on the main loop (through a signalfd), so that quitting stops a running
// recording through the gate instead of killing it. A signal goes to any thread that does not block it, so
// the host calls `blockQuitSignals` before it starts any thread (libraries start their own: HTTP, D-Bus,
// blocking work); every thread started afterwards inherits the mask. The watcher unblocks them when it goes.
#pragma once

#include "Support/FileDescriptor.h"
#include "Support/MainLoop.h"

#include <functional>

namespace App {

class SignalWatcher {
public:
    SignalWatcher(Support::MainLoop& loop, std::function<void(int signal)> onSignal);
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher&) = delete;
    /// Blocks SIGINT and SIGTERM in the calling thread (and so in the threads it starts from now on).
    static void blockQuitSignals();
    SignalWatcher& operator=(const SignalWatcher&) = delete;

private:
    Support::FileDescriptor fd_;
    Support::Subscription watch_;
    std::function<void(int)> onSignal_;
};

} // namespace App

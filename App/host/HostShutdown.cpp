#include "App/host/HostShutdown.h"

#include "App/host/RecordingController.h"
#include "Support/BlockingWork.h"

namespace App {

HostShutdown::HostShutdown(Support::MainLoop& loop, RecordingController& controller)
    : loop_(loop), controller_(controller) {}

void HostShutdown::add(std::function<void()> stop) {
    stops_.push_back(std::move(stop));
}

void HostShutdown::finishFirst(std::function<Support::Task<>()> work) {
    finishFirst_.push_back(std::move(work));
}

void HostShutdown::quit() {
    if (quitting_) {
        return;
    }
    quitting_ = true;
    task_ = Support::startTask([this]() -> Support::Task<> { return run(); });
}

Support::Task<> HostShutdown::run() {
    co_await controller_.stopAndDrain();
    for (auto& work : finishFirst_) {
        co_await work();
    }
    for (auto it = stops_.rbegin(); it != stops_.rend(); ++it) {
        (*it)();
    }
    Support::BlockingWork::drain();
    loop_.stop();
}

} // namespace App

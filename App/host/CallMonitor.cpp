#include "App/host/CallMonitor.h"

#include "UI/calendar/JoinIntentStore.h"

namespace App {

CallMonitor::CallMonitor(Dependencies dependencies) : deps_(std::move(dependencies)) {
    subscriptions_ += deps_.microphones.clientsChanged.connect(
        [this](const std::vector<Platform::MicrophoneClient>& clients) { clientsChanged(clients); });
    subscriptions_ += deps_.microphones.ended.connect([this](const std::string& why) { deps_.say(why); });
}

CallMonitor::~CallMonitor() {
    stop();
}

void CallMonitor::start() {
    starting_ = Support::startTask([this]() -> Support::Task<> {
        if (auto why = co_await deps_.microphones.start()) {
            deps_.say(*why);
        }
    });
}

void CallMonitor::stop() {
    if (starting_) {
        starting_->cancel();
        starting_.reset();
    }
    deps_.microphones.stop();
}

void CallMonitor::clientsChanged(const std::vector<Platform::MicrophoneClient>& clients) {
    auto changes = detector_.update(clients, deps_.ownProcessIds ? deps_.ownProcessIds() : std::set<int>{});
    deps_.intents.microphoneHoldersChanged(changes.microphoneHolders);
    for (const auto& call : changes.started) {
        callStarted.emit(call.bundleID, call.isBrowser);
    }
    if (!changes.ended.empty()) {
        deps_.callsEnded(detector_.calls().empty());
    }
}

} // namespace App

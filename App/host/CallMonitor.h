// Turns the microphone monitor's lists into calls: each list goes through `UI::CallDetector` (our own
// recording tool's processes excluded), the apps holding the microphone go to the join intents, a call
// that starts is emitted on `callStarted` (bundle id, is a browser), and when calls end the call recorder is
// told whether any is left. The monitor's one-line reasons (it cannot start, or its watch broke down) are
// said to the user; the host carries on without call detection then.
//
// `start` begins watching; `stop` cancels a start still under way and ends the watch. Main loop only.
#pragma once

#include "Platform/MicrophoneMonitor.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "UI/recording/CallDetector.h"

#include <functional>
#include <optional>
#include <set>
#include <string>

namespace UI {
class JoinIntentStore;
}

namespace App {

class CallMonitor {
public:
    struct Dependencies {
        Platform::MicrophoneMonitor& microphones;
        UI::JoinIntentStore& intents;
        /// The process ids of our own recording tool now (never a call).
        std::function<std::set<int>()> ownProcessIds;
        /// Calls let go of the microphone; true when none holds it any more.
        std::function<void(bool noCallLeft)> callsEnded;
        std::function<void(const std::string&)> say;
    };

    explicit CallMonitor(Dependencies dependencies);
    ~CallMonitor();
    CallMonitor(const CallMonitor&) = delete;
    CallMonitor& operator=(const CallMonitor&) = delete;

    void start();
    void stop();

    /// A meeting app (bundle id) or a browser took the microphone.
    Support::Signal<const std::string&, bool> callStarted;
    const UI::CallDetector& detector() const { return detector_; }

private:
    void clientsChanged(const std::vector<Platform::MicrophoneClient>& clients);

    Dependencies deps_;
    UI::CallDetector detector_;
    Support::SubscriptionBag subscriptions_;
    std::optional<Support::Task<>> starting_;
};

} // namespace App

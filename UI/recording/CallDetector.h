// The call detector's decisions: which of the applications recording from the microphone are meeting apps
// (Zoom, Teams and the other apps a user may follow) or browsers, and which calls started and ended between
// two lists from the microphone monitor. A value type holding the calls seen last, and static functions;
// the host feeds it every list published by `Platform::MicrophoneMonitor` and reports what comes out
// (a started call to the join-recording logic, the holders to the reminder coordinator).
//
// Edge cases: several streams of one app are one call (a browser with two tabs on the microphone); a paused
// (corked) stream still counts, since a muted participant is still in the call; our own recording tool is
// never a call (its process ids are passed in, and a stream that names itself "vellmora" is ours); streams
// of apps that are neither meeting apps nor browsers are ignored.
#pragma once

#include "Platform/MicrophoneMonitor.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UI {

class CallDetector {
public:
    struct Call {
        /// The followed-app id: "zoom", "teams", "slack", ... or "meet" for any browser.
        std::string appID;
        std::string bundleID;
        /// The app's name as users know it ("Zoom", "Firefox").
        std::string appName;
        bool isBrowser = false;

        bool operator==(const Call&) const = default;
    };

    struct Changes {
        std::vector<Call> started;
        std::vector<Call> ended;
        /// The bundle identifiers of every app in a call now.
        std::set<std::string> microphoneHolders;

        bool operator==(const Changes&) const = default;
    };

    /// The call a microphone stream belongs to, or nothing (not a meeting app or browser, or our own).
    static std::optional<Call> classify(const Platform::MicrophoneClient& client,
                                        const std::set<int>& ownProcessIds);
    /// The calls in a list of streams, one per app, in the order of their first stream.
    static std::vector<Call> callsIn(const std::vector<Platform::MicrophoneClient>& clients,
                                     const std::set<int>& ownProcessIds);
    /// What changed from `before` to `after` (calls are the same when their bundle identifiers are).
    static Changes diff(const std::vector<Call>& before, const std::vector<Call>& after);

    /// Takes a new list from the monitor: the changes since the last one, which becomes the current state.
    Changes update(const std::vector<Platform::MicrophoneClient>& clients,
                   const std::set<int>& ownProcessIds);
    const std::vector<Call>& calls() const { return calls_; }

    bool operator==(const CallDetector&) const = default;

private:
    std::vector<Call> calls_;
};

} // namespace UI

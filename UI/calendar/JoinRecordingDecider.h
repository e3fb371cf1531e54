// The small state machine around a recording that a detected call starts: whether a start may begin,
// whether the join intents leave the call unrecorded, how long a recording started on the user's explicit
// wish is held when no microphone activity is seen, and what a new microphone activation means.
//
// Transitions: watching → starting (`willStart`) → recording (`recordingDidStart`) → ending
// (`recordingWillEnd`) → watching (`recordingEnded`). A failed start (`startFailed` with the current token)
// goes back to watching; a stale token (an older start) changes nothing. Only an explicit Join & Record
// passes a hold date to `willStart`. In `ending`, every activation counts as another call: the current one
// is closing, and the new call is picked up once the decider is watching again.
#pragma once

#include "Support/Time.h"
#include "UI/calendar/JoinDirective.h"

#include <cstdint>
#include <optional>
#include <string>

namespace UI {

struct JoinRecordingDecider {
    enum class Phase { watching, starting, recording, ending };

    struct StartDecision {
        enum class Kind { leaveUnrecorded, normal };
        Kind kind = Kind::normal;
        /// The suppressing intent for `leaveUnrecorded`, the recording intent for a `record` directive.
        std::optional<JoinIntent> intent;
        /// On the normal path: whether the call is recorded.
        bool records = false;
        bool operator==(const StartDecision&) const = default;
    };

    enum class Activation { currentCall, anotherCall };

    /// An app that took the microphone, as the detector reports it.
    struct MicrophoneSource {
        std::string bundleID;
        bool isBrowser = false;
        bool operator==(const MicrophoneSource&) const = default;
    };

    static constexpr double heldRecordingGrace = 300;
    static constexpr double heldRecordingMinimum = 900;

    int joinedStartsInFlight = 0;
    bool holdsWithoutMicrophone = false;
    std::optional<Support::Date> heldUntil;
    std::int64_t startToken = 0;
    Phase phase = Phase::watching;

    bool mayStart(bool isRunning, Phase current) const { return isRunning && current == Phase::watching; }
    bool mayStopWhenIdle(bool isRunning, Phase current) const {
        return isRunning && current == Phase::watching && joinedStartsInFlight == 0;
    }
    bool mayEndOnMicrophoneRelease() const { return !holdsWithoutMicrophone; }

    static StartDecision startDecision(const JoinDirective& directive, bool autoRecordEnabled);

    /// Begins a start; returns its token. A hold date makes the recording outlive microphone silence.
    std::int64_t willStart(std::optional<Support::Date> holdUntil);
    void recordingDidStart(std::int64_t token);
    void startFailed(std::int64_t token);
    void recordingWillEnd();
    void recordingEnded();
    void beginJoinedStart() { ++joinedStartsInFlight; }
    void endJoinedStart() {
        if (joinedStartsInFlight > 0) {
            --joinedStartsInFlight;
        }
    }

    /// What a reported microphone source means for the call being recorded; nothing outside
    /// starting/recording/ending or without a source. An activation of the current call ends the hold.
    std::optional<Activation> microphoneActivated(const std::optional<MicrophoneSource>& source,
                                                  const MicrophoneSource& current, Phase at);

    /// The later of the meeting's end + grace and now + the minimum.
    static Support::Date heldRecordingDeadline(Support::Date meetingEnd, Support::Date now);
    bool heldRecordingIsOver(Support::Date now, Phase at) const;

    bool operator==(const JoinRecordingDecider&) const = default;
};

} // namespace UI

#include "UI/calendar/JoinRecordingDecider.h"

#include <algorithm>

namespace UI {

JoinRecordingDecider::StartDecision JoinRecordingDecider::startDecision(const JoinDirective& directive,
                                                                        bool autoRecordEnabled) {
    StartDecision decision;
    decision.intent = directive.intent();
    switch (directive.kind) {
    case JoinDirective::Kind::suppress:
        if (autoRecordEnabled) {
            decision.kind = StartDecision::Kind::leaveUnrecorded;
        }
        decision.records = false;
        break;
    case JoinDirective::Kind::record:
        decision.records = true;
        break;
    case JoinDirective::Kind::ignore:
        decision.records = autoRecordEnabled;
        break;
    }
    return decision;
}

std::int64_t JoinRecordingDecider::willStart(std::optional<Support::Date> holdUntil) {
    ++startToken;
    heldUntil = holdUntil;
    holdsWithoutMicrophone = holdUntil.has_value();
    phase = Phase::starting;
    return startToken;
}

void JoinRecordingDecider::recordingDidStart(std::int64_t token) {
    if (token == startToken && phase == Phase::starting) {
        phase = Phase::recording;
    }
}

void JoinRecordingDecider::startFailed(std::int64_t token) {
    if (token != startToken || phase != Phase::starting) {
        return;
    }
    phase = Phase::watching;
    holdsWithoutMicrophone = false;
    heldUntil.reset();
}

void JoinRecordingDecider::recordingWillEnd() {
    if (phase == Phase::recording || phase == Phase::starting) {
        phase = Phase::ending;
    }
}

void JoinRecordingDecider::recordingEnded() {
    phase = Phase::watching;
    holdsWithoutMicrophone = false;
    heldUntil.reset();
}

std::optional<JoinRecordingDecider::Activation>
JoinRecordingDecider::microphoneActivated(const std::optional<MicrophoneSource>& source,
                                          const MicrophoneSource& current, Phase at) {
    if (!source) {
        return std::nullopt;
    }
    if (at == Phase::ending) {
        return Activation::anotherCall;
    }
    if (at != Phase::starting && at != Phase::recording) {
        return std::nullopt;
    }
    bool sameApp = source->bundleID == current.bundleID;
    bool heldBrowser = holdsWithoutMicrophone && source->isBrowser;
    if (!sameApp && !heldBrowser) {
        return Activation::anotherCall;
    }
    holdsWithoutMicrophone = false;
    heldUntil.reset();
    return Activation::currentCall;
}

Support::Date JoinRecordingDecider::heldRecordingDeadline(Support::Date meetingEnd, Support::Date now) {
    return std::max(meetingEnd + Support::seconds(heldRecordingGrace),
                    now + Support::seconds(heldRecordingMinimum));
}

bool JoinRecordingDecider::heldRecordingIsOver(Support::Date now, Phase at) const {
    return at == Phase::recording && holdsWithoutMicrophone && heldUntil && now >= *heldUntil;
}

} // namespace UI

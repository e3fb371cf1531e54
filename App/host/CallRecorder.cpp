#include "App/host/CallRecorder.h"

namespace App {

using Phase = UI::JoinRecordingDecider::Phase;

CallRecorder::CallRecorder(Dependencies deps) : deps_(std::move(deps)) {
    phaseSubscription_ = deps_.state.phasePublisher().observe(
        [this](const UI::RecordingPhase& phase) { phaseChanged(phase); });
}

bool CallRecorder::isRecording() const {
    return deps_.state.isRecording();
}

void CallRecorder::callStarted(const std::string& bundleID, bool isBrowser) {
    auto now = deps_.scheduler.now();
    UI::JoinRecordingDecider::MicrophoneSource source{bundleID, isBrowser};
    if (decider_.phase != Phase::watching) {
        // The recorded call took the microphone again (a held recording now ends with the call), or another
        // call started beside it, which is left alone.
        if (decider_.microphoneActivated(source, current_, decider_.phase) ==
            UI::JoinRecordingDecider::Activation::currentCall) {
            holdTimer_.reset();
        }
        return;
    }
    if (!decider_.mayStart(true, decider_.phase) || !deps_.state.phase().isIdle()) {
        return;
    }
    auto directive = deps_.intents.directive(bundleID, isBrowser, now);
    bool autoRecord = deps_.defaults.boolean("autoRecord").value_or(true);
    auto decision = UI::JoinRecordingDecider::startDecision(directive, autoRecord);
    if (decision.kind == UI::JoinRecordingDecider::StartDecision::Kind::leaveUnrecorded) {
        if (decision.intent) {
            deps_.intents.consume(decision.intent->id, now);
        }
        deps_.say("The call started; it is not recorded (you chose Join).");
        return;
    }
    if (!decision.records) {
        deps_.say("A call started; automatic recording is off ([r] records it).");
        return;
    }
    meeting_.reset();
    if (decision.intent) {
        meeting_ = decision.intent->meeting;
    } else if (deps_.upcoming) {
        for (const auto& m : deps_.upcoming()) {
            if (m.isInProgress(now)) {
                meeting_ = m;
                break;
            }
        }
    }
    current_ = source;
    if (deps_.didStartRecording) {
        deps_.didStartRecording(bundleID, isBrowser);
    }
    start(std::nullopt);
}

void CallRecorder::callsEnded(bool noCallLeft) {
    if (noCallLeft && decider_.phase == Phase::recording && decider_.mayEndOnMicrophoneRelease()) {
        deps_.say("The call ended: the recording stops.");
        deps_.controller.requestStop();
    }
}

void CallRecorder::recordNow(const UI::JoinIntent& intent) {
    if (!deps_.state.phase().isIdle()) {
        return;
    }
    auto now = deps_.scheduler.now();
    meeting_ = intent.meeting;
    // The call is the app that held the microphone when the user joined; no new activation will come.
    current_ = {intent.bundleIDs.empty() ? std::string() : *intent.bundleIDs.begin(), intent.isBrowser()};
    for (const auto& holder : intent.microphoneHoldersAtClick) {
        if (intent.matches(holder, false)) {
            current_ = {holder, false};
            break;
        }
    }
    auto deadline = UI::JoinRecordingDecider::heldRecordingDeadline(intent.meeting.end, now);
    start(deadline);
    holdTimer_ = deps_.scheduler.at(deadline, [this] {
        if (decider_.heldRecordingIsOver(deps_.scheduler.now(), decider_.phase)) {
            deps_.say("The meeting is over: the recording stops.");
            deps_.controller.requestStop();
        }
    });
}

void CallRecorder::start(std::optional<Support::Date> holdUntil) {
    auto token = decider_.willStart(holdUntil);
    startWatch_.reset();
    if (!deps_.controller.requestStart()) {
        decider_.startFailed(token);
        holdTimer_.reset();
        return;
    }
    startWatch_ = deps_.state.phasePublisher().observe([this, token](const UI::RecordingPhase& phase) {
        if (phase.isRecording()) {
            decider_.recordingDidStart(token);
            startWatch_.reset();
        } else if (phase.isIdle()) {
            decider_.startFailed(token);
            holdTimer_.reset();
            startWatch_.reset();
        }
    });
}

void CallRecorder::phaseChanged(const UI::RecordingPhase& phase) {
    if (phase.isSaving() && decider_.phase == Phase::recording) {
        decider_.recordingWillEnd();
        holdTimer_.reset();
    } else if (phase.isIdle() && decider_.phase == Phase::ending) {
        decider_.recordingEnded();
    }
}

} // namespace App

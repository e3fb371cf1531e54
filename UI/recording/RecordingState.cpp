#include "UI/recording/RecordingState.h"

#include "UI/recording/RecordingPhaseMachine.h"

namespace UI {

RecordingState::RecordingState(Clock clock) : clock_(std::move(clock)) {}

RecordingState::RecordingState(bool isRecording, Clock clock) : clock_(std::move(clock)) {
    phase_ = isRecording ? RecordingPhase::recording(clock_()) : RecordingPhase::idle();
    isRecording_ = isRecording;
}

RecordingState& RecordingState::shared() {
    static RecordingState state;
    return state;
}

void RecordingState::setPhase(RecordingPhase phase) {
    phase_.set(phase);
    bool wanted = phase_.get().isRecording();
    if (isRecording_.get() != wanted) {
        isFollowingPhase_ = true;
        setIsRecording(wanted);
        isFollowingPhase_ = false;
    }
}

void RecordingState::setIsRecording(bool value) {
    isRecording_.set(value);
    if (isFollowingPhase_) {
        return;
    }
    auto event = value ? RecordingPhaseEvent::captureStarted(clock_()) : RecordingPhaseEvent::reset();
    auto next = RecordingPhaseMachine::reduce(phase_.get(), event);
    if (!(next == phase_.get())) {
        setPhase(next);
    }
}

} // namespace UI

// The one observable recording phase of the whole application (`RecordingState::shared()`), with the
// older `isRecording` flag kept in step with it. Setting `phase` brings `isRecording` in line (observers of
// the flag see the change) without a second phase change; setting `isRecording` directly still drives the
// phase machine: true acts as "capture started now", false as "reset to idle". Neither setter feeds back
// into the other. Main loop only.
#pragma once

#include "Support/Signal.h"
#include "Support/Time.h"
#include "UI/recording/RecordingPhase.h"

#include <functional>

namespace UI {

class RecordingState {
public:
    using Clock = std::function<Support::Date()>;

    /// Idle, not recording.
    explicit RecordingState(Clock clock = Support::systemNow);
    /// Recording since now when `isRecording`, else idle; `isRecording` equals the argument.
    RecordingState(bool isRecording, Clock clock);

    /// The process-wide instance, created on first use.
    static RecordingState& shared();

    const RecordingPhase& phase() const { return phase_.get(); }
    void setPhase(RecordingPhase phase);
    bool isRecording() const { return isRecording_.get(); }
    void setIsRecording(bool value);

    Support::Published<RecordingPhase>& phasePublisher() { return phase_; }
    Support::Published<bool>& isRecordingPublisher() { return isRecording_; }

private:
    Clock clock_;
    Support::Published<RecordingPhase> phase_{RecordingPhase::idle()};
    Support::Published<bool> isRecording_{false};
    bool isFollowingPhase_ = false;
};

} // namespace UI

// The pure transition function of the recording phase, and the rule that says whether a stop request
// should run. An event that does not apply to the current phase leaves it unchanged (payload included).
// Notable rows: a second `captureStarted` while recording keeps the first start time; `captureStarted`
// while saving goes straight back to recording (a new capture may begin before the previous save reports
// back); a stop while still starting goes to saving; `reset` always gives idle.
#pragma once

#include "UI/recording/RecordingPhase.h"

namespace UI::RecordingPhaseMachine {

enum class StopResponse { stop, ignoreAlreadySaving, ignoreNotRecording };

RecordingPhase reduce(const RecordingPhase& phase, const RecordingPhaseEvent& event);
StopResponse stopResponse(const RecordingPhase& phase);

} // namespace UI::RecordingPhaseMachine

#include "UI/recording/RecordingPhaseMachine.h"

namespace UI::RecordingPhaseMachine {

using Kind = RecordingPhase::Kind;
using Event = RecordingPhaseEvent::Kind;

RecordingPhase reduce(const RecordingPhase& phase, const RecordingPhaseEvent& event) {
    switch (event.kind) {
    case Event::captureStarted:
        return phase.kind == Kind::recording ? phase : RecordingPhase::recording(event.date);
    case Event::stopRequested:
        return (phase.kind == Kind::starting || phase.kind == Kind::recording)
                   ? RecordingPhase::saving(event.date)
                   : phase;
    case Event::startRequested:
        return phase.kind == Kind::idle ? RecordingPhase::starting() : phase;
    case Event::startFailed:
        return phase.kind == Kind::starting ? RecordingPhase::idle() : phase;
    case Event::saveFinished:
        return phase.kind == Kind::saving ? RecordingPhase::idle() : phase;
    case Event::reset:
        return RecordingPhase::idle();
    }
    return phase;
}

StopResponse stopResponse(const RecordingPhase& phase) {
    switch (phase.kind) {
    case Kind::recording:
    case Kind::starting:
        return StopResponse::stop;
    case Kind::saving:
        return StopResponse::ignoreAlreadySaving;
    case Kind::idle:
        return StopResponse::ignoreNotRecording;
    }
    return StopResponse::ignoreNotRecording;
}

} // namespace UI::RecordingPhaseMachine

namespace UI {

std::string RecordingPhase::name() const {
    switch (kind) {
    case Kind::recording:
        return "recording";
    case Kind::saving:
        return "saving";
    case Kind::idle:
        return "idle";
    case Kind::starting:
        return "starting";
    }
    return "idle";
}

} // namespace UI

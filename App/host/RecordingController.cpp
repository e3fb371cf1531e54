#include "App/host/RecordingController.h"

#include "Support/Log.h"
#include "UI/recording/RecordingPhaseMachine.h"

namespace App {

namespace {
const Support::Logger log("recording");
}

using UI::RecordingPhaseEvent;
using UI::RecordingPhaseMachine::reduce;

RecordingController::RecordingController(UI::RecordingState& state, UI::RecordingRequestGate& gate,
                                         AudioEngine::CaptureEngine& capture, Support::Scheduler& scheduler,
                                         std::filesystem::path recordingsFolder)
    : state_(state), gate_(gate), capture_(capture), scheduler_(scheduler),
      folder_(std::move(recordingsFolder)) {}

void RecordingController::apply(const RecordingPhaseEvent& event) {
    state_.setPhase(reduce(state_.phase(), event));
}

bool RecordingController::requestStart() {
    auto task = gate_.requestStart([this] { return startOperation(); });
    if (task) {
        apply(RecordingPhaseEvent::startRequested());
    }
    return task.has_value();
}

bool RecordingController::requestStop() {
    return gate_.requestStop([this] { return stopOperation(); }).has_value();
}

Support::Task<> RecordingController::startOperation() {
    return Support::startTask([this]() -> Support::Task<> {
        if (!state_.phase().isStarting()) {
            // A stop that ran before this start already settled the phase.
            co_return;
        }
        try {
            auto session = co_await capture_.start(folder_);
            log.info("Capture started ({}) for recording {}", capture_.name(), session.recordingId);
            apply(RecordingPhaseEvent::captureStarted(session.startedAt));
        } catch (const AudioEngine::CaptureError& e) {
            log.error("Capture could not start: {}", e.description());
            apply(RecordingPhaseEvent::startFailed());
            startFailed.emit(e.description());
        }
    });
}

Support::Task<> RecordingController::stopOperation() {
    return Support::startTask([this]() -> Support::Task<> {
        if (UI::RecordingPhaseMachine::stopResponse(state_.phase()) !=
            UI::RecordingPhaseMachine::StopResponse::stop) {
            co_return;
        }
        apply(RecordingPhaseEvent::stopRequested(scheduler_.now()));
        try {
            auto recording = co_await capture_.stop();
            if (recording) {
                log.info("Recording {} saved ({:.0f} s)", recording->recordingId, recording->durationSeconds);
                recordingSaved.emit(*recording);
            }
        } catch (const std::exception& e) {
            log.error("The recording could not be finalised: {}", e.what());
        }
        apply(RecordingPhaseEvent::saveFinished());
    });
}

Support::Task<> RecordingController::stopAndDrain() {
    return Support::startTask([this]() -> Support::Task<> {
        if (!state_.phase().isIdle()) {
            requestStop();
        }
        co_await gate_.waitUntilIdle();
        // A start that was still queued may have begun capture after the stop ran: stop it as well.
        if (!state_.phase().isIdle()) {
            requestStop();
            co_await gate_.waitUntilIdle();
        }
    });
}

} // namespace App

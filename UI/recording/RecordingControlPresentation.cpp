#include "UI/recording/RecordingControlPresentation.h"

#include "UI/recording/RecordingNotifications.h"

namespace UI {

using Kind = RecordingPhase::Kind;
using namespace RecordingNotifications;

RecordingControlPresentation RecordingControlPresentation::forToolbar(const RecordingPhase& phase) {
    switch (phase.kind) {
    case Kind::idle:
        return {"Record", "record.circle", "Start Recording (⌘R)", true, startRecordingRequested, true};
    case Kind::starting:
    case Kind::recording:
        return {"Stop", "stop.circle.fill", "Stop Recording", false, stopRecordingRequested, true};
    case Kind::saving:
        return {"Saving…", "hourglass", "Saving the recording", false, stopRecordingRequested, false};
    }
    return {};
}

RecordingControlPresentation RecordingControlPresentation::forEmptyState(const RecordingPhase& phase) {
    switch (phase.kind) {
    case Kind::idle:
        return {"Start Recording",          "record.circle",
                "Start recording now (⌘R)", true,
                startRecordingRequested,    true};
    case Kind::starting:
    case Kind::recording:
        return {"Stop Recording", "stop.circle.fill", "Stop recording", false, stopRecordingRequested, true};
    case Kind::saving:
        return {"Saving Recording…",    "hourglass", "Saving the recording", false,
                stopRecordingRequested, false};
    }
    return {};
}

} // namespace UI

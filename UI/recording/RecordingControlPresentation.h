// What the record/stop control shows for a phase: in the toolbar, and as the large control of the empty
// state. The two tables differ on purpose in wording and capitalisation. While starting, the control
// already offers Stop (a stop is answered with `stop` then).
#pragma once

#include "UI/recording/RecordingPhase.h"

#include <string>

namespace UI {

struct RecordingControlPresentation {
    std::string title;
    std::string iconName;
    std::string helpText;
    bool hasStartKeyboardShortcut = false;
    std::string targetNotification;
    bool isEnabled = true;

    bool operator==(const RecordingControlPresentation&) const = default;

    static RecordingControlPresentation forToolbar(const RecordingPhase& phase);
    static RecordingControlPresentation forEmptyState(const RecordingPhase& phase);
};

} // namespace UI

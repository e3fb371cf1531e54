// What the host does with the two-track capture's news during a recording: a track silent from the start
// ("Vellmora hears nothing from the call: check the output device") is said in the terminal, shown in the
// menu under Stop and posted as a notification; device news (a headset followed, the server back) is said
// in the terminal only; a capture that cannot go on (disk full) is said and the recording is stopped
// through the usual road, which keeps what was written. The end of the recording takes the menu's warning
// away.
//
// Built by the host next to the capture engine it watches; main loop only.
#pragma once

#include "AudioEngine/PulseCapture.h"
#include "Platform/UserNotificationCenter.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "UI/recording/RecordingPhase.h"

#include <functional>
#include <list>
#include <optional>
#include <string>

namespace App {

class CaptureAlerts {
public:
    static constexpr const char* notificationIdentifier = "dev.tessadine.vellmora.captureProblem";

    struct Dependencies {
        AudioEngine::PulseCapture& capture;
        Platform::UserNotificationCenter& notifications;
        std::function<void(const std::string&)> say;
        /// The menu's warning line (nothing: none).
        std::function<void(std::optional<std::string>)> showWarning;
        std::function<void()> stopRecording;
        /// The recording phase, whose return to idle takes the menu's warning away (none: the owner calls
        /// `recordingEnded`).
        Support::Published<UI::RecordingPhase>* phase = nullptr;
    };

    explicit CaptureAlerts(Dependencies dependencies);

    void recordingEnded();

    /// The notification for a capture problem.
    static Platform::NotificationRequest notification(const std::string& problem);

private:
    void post(const std::string& problem);

    Dependencies deps_;
    Support::SubscriptionBag subscriptions_;
    std::list<Support::Task<>> posts_;
};

} // namespace App

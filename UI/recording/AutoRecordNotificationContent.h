// The notification shown when a recording started by itself because a meeting app took the microphone.
#pragma once

#include "UI/recording/LocalNotificationRequest.h"

#include <string_view>

namespace UI {

struct AutoRecordNotificationContent {
    /// Title "Vellmora started recording"; the body names the app ("A meeting app" when it has no name).
    static LocalNotificationRequest recordingStarted(std::string_view appName);
};

} // namespace UI

// Whether a recording also records the shared screen, and at how many frames per second. Read by the capture
// session at each start and written by `vellmora video capture` and the menu's settings. Off unless the user
// turned it on ("video.captureScreen"); the frame rate ("video.frameRate") defaults to 1 frame per second and
// is kept within 0.2…5 (slides change slowly; more would only cost disk and processor), a missing or
// non-numeric value meaning the default.
#pragma once

#include "Support/UserDefaults.h"

namespace AudioEngine {

struct ScreenCapturePreferences {
    static constexpr const char* enabledKey = "video.captureScreen";
    static constexpr const char* frameRateKey = "video.frameRate";
    static constexpr double defaultFrameRate = 1.0;
    static constexpr double minimumFrameRate = 0.2;
    static constexpr double maximumFrameRate = 5.0;

    static bool isEnabled(const Support::UserDefaults& defaults);
    static void setEnabled(Support::UserDefaults& defaults, bool enabled);
    static double frameRate(const Support::UserDefaults& defaults);
    /// Stores `rate` clamped to the allowed range; gives what was stored.
    static double setFrameRate(Support::UserDefaults& defaults, double rate);
    static double clampedFrameRate(double rate);
};

} // namespace AudioEngine

#include "AudioEngine/ScreenCapturePreferences.h"

#include <algorithm>
#include <cmath>

namespace AudioEngine {

bool ScreenCapturePreferences::isEnabled(const Support::UserDefaults& defaults) {
    return defaults.boolean(enabledKey).value_or(false);
}

void ScreenCapturePreferences::setEnabled(Support::UserDefaults& defaults, bool enabled) {
    defaults.setBool(enabledKey, enabled);
}

double ScreenCapturePreferences::clampedFrameRate(double rate) {
    if (!std::isfinite(rate)) {
        return defaultFrameRate;
    }
    return std::clamp(rate, minimumFrameRate, maximumFrameRate);
}

double ScreenCapturePreferences::frameRate(const Support::UserDefaults& defaults) {
    auto stored = defaults.number(frameRateKey);
    return stored ? clampedFrameRate(*stored) : defaultFrameRate;
}

double ScreenCapturePreferences::setFrameRate(Support::UserDefaults& defaults, double rate) {
    auto kept = clampedFrameRate(rate);
    defaults.set(frameRateKey, Support::DefaultsValue(kept));
    return kept;
}

} // namespace AudioEngine

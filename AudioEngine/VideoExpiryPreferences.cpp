#include "AudioEngine/VideoExpiryPreferences.h"

#include <algorithm>

namespace AudioEngine {

std::uint8_t VideoExpiryPreferences::currentOption(const Support::UserDefaults& defaults) {
    auto stored = defaults.integer(key);
    if (!stored || *stored < 0) {
        return never;
    }
    // Every value from 3 up means the longest retention; keep it in one byte without wrapping around.
    return static_cast<std::uint8_t>(std::min<std::int64_t>(*stored, 255));
}

void VideoExpiryPreferences::setOption(Support::UserDefaults& defaults, std::uint8_t option) {
    defaults.setInteger(key, option);
}

std::optional<int> VideoExpiryPreferences::retentionDays(std::uint8_t option) {
    switch (option) {
    case never:
        return std::nullopt;
    case sevenDays:
        return 7;
    case thirtyDays:
        return 30;
    default:
        return 90;
    }
}

std::string VideoExpiryPreferences::displayName(std::uint8_t option) {
    auto days = retentionDays(option);
    return days ? "After " + std::to_string(*days) + " days" : "Never";
}

} // namespace AudioEngine

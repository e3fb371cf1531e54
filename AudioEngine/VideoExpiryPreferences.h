// How long screen videos are kept: a one-byte option stored in the user defaults under `key`
// ("video.retention"). 0 keeps videos (the default, also for a missing, negative or non-numeric value),
// 1 keeps them 7 days, 2 keeps them 30 days, 3 and above 90 days.
#pragma once

#include "Support/UserDefaults.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace AudioEngine {

struct VideoExpiryPreferences {
    static constexpr const char* key = "video.retention";

    enum Option : std::uint8_t { never = 0, sevenDays = 1, thirtyDays = 2, ninetyDays = 3 };

    static std::uint8_t currentOption(const Support::UserDefaults& defaults);
    static void setOption(Support::UserDefaults& defaults, std::uint8_t option);

    /// Days a video is kept under `option`; nothing for "never".
    static std::optional<int> retentionDays(std::uint8_t option);
    /// The option's name in settings ("Never", "After 7 days", ...).
    static std::string displayName(std::uint8_t option);
    /// The options offered in settings, in order.
    static std::vector<std::uint8_t> allOptions() { return {never, sevenDays, thirtyDays, ninetyDays}; }
};

} // namespace AudioEngine

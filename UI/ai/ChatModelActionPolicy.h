// Whether the chat panel offers to download the local fallback model inline: only when the system's
// on-device model cannot serve chat and the fallback is not installed. Pure.
#pragma once

#include "Intelligence/ModelRegistry.h"

#include <optional>
#include <string>

namespace UI {

struct ChatModelActionPolicy {
    struct Presentation {
        bool systemModelCanServeChat = false;
        bool fallbackInstalled = false;
    };
    struct Offer {
        std::string text{};
        std::string buttonTitle{};
        bool operator==(const Offer&) const = default;
    };
    static std::optional<Offer> inlineFallbackDownload(const Presentation& presentation,
                                                       const Intelligence::ModelRegistry::Model& model);
};

} // namespace UI

#include "Intelligence/ModelRegistry.h"

#include <fmt/format.h>

#include <cmath>

namespace Intelligence {

std::optional<ModelRegistry::Model> ModelRegistry::model(const std::string&) {
    return std::nullopt;
}

std::string ModelRegistry::formattedSize(double sizeGB) {
    if (!std::isfinite(sizeGB) || sizeGB < 0) {
        sizeGB = 0;
    }
    if (sizeGB >= 1) {
        return fmt::format("{:.1f} GB", sizeGB);
    }
    return fmt::format("{} MB", static_cast<long long>(std::lround(sizeGB * 1000)));
}

} // namespace Intelligence

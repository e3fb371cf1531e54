// Models the application can install locally, by identifier, with their download sizes. Vellmora talks to
// model servers the user runs or subscribes to and installs no model itself, so the registry is empty; the
// wait and status texts still ask it, and fall back to "the AI model" for a name it does not know.
#pragma once

#include <optional>
#include <string>

namespace Intelligence {

struct ModelRegistry {
    struct Model {
        std::string id{};
        std::string displayName{};
        double sizeGB = 0;
    };
    static std::optional<Model> model(const std::string& id);
    /// "4.1 GB" from 1 GB up, else whole megabytes ("800 MB").
    static std::string formattedSize(double sizeGB);
};

} // namespace Intelligence

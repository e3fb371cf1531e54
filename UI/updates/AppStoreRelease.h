// One release of the application as the store's lookup answer describes it. Produced by
// `AppStoreLookupClient`, offered by `UpdateCheckCoordinator`, shown by the menu.
#pragma once

#include "Support/Time.h"

#include <optional>
#include <string>

namespace UI {

struct AppStoreRelease {
    std::string version;
    std::optional<std::string> minimumOSVersion{};
    std::optional<Support::Date> releaseDate{};
    std::optional<std::string> releaseNotes{};
    /// The store page of the release.
    std::optional<std::string> storeURL{};

    bool operator==(const AppStoreRelease&) const = default;
};

} // namespace UI

// What joining one meeting opens, and who is to watch for the call: the outcome of `MeetingJoiner`.
#pragma once

#include "Support/Url.h"

#include <optional>
#include <string>

namespace UI {

struct JoinTarget {
    /// The link that is opened to join (the app link or the web link).
    Support::Url openedURL;
    /// Which call detector watches for the call: "zoom", "teams" or "meet" (any browser call).
    std::string detectorAppID;
    /// The app expected to take the call (a bundle identifier), when known.
    std::optional<std::string> bundleID;
    bool usesNativeApp = false;

    bool operator==(const JoinTarget&) const = default;
};

} // namespace UI

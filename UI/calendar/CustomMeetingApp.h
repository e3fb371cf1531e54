// A meeting app the user added by hand (by bundle identifier) to the apps followed for automatic recording.
#pragma once

#include "Support/Time.h"

#include <string>

namespace UI {

struct CustomMeetingApp {
    /// A fresh UUID string.
    std::string id;
    std::string bundleId;
    std::string displayName;
    Support::Date addedDate;

    bool operator==(const CustomMeetingApp&) const = default;
};

} // namespace UI

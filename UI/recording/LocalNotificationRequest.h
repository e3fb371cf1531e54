// One local notification to show now: our identifier, title, body, optional category, and text user info.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace UI {

struct LocalNotificationRequest {
    std::string identifier;
    std::string title;
    std::string body;
    std::optional<std::string> categoryIdentifier;
    std::map<std::string, std::string> userInfo;

    bool operator==(const LocalNotificationRequest&) const = default;
};

} // namespace UI

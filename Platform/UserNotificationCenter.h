// The desktop's notification centre: authorisation, categories (a category names the buttons its
// notifications carry), adding and removing notifications by our own request identifiers, and the user's
// answers (a click on the body, a button, or closing the notification).
//
// Contract: `add` with the identifier of a notification that is still shown replaces it; `remove` with an
// unknown identifier does nothing. Answers arrive on the main loop, each with the request's identifier,
// category and user info as they were added. A server that cannot show buttons still delivers body clicks
// when it can; `supportsActions()` tells which it is, so the app can offer other ways to answer.
#pragma once

#include "Support/Signal.h"
#include "Support/Task.h"

#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Platform {

/// The action identifier of a click on the notification itself.
inline constexpr const char* defaultActionIdentifier = "default";
/// The action identifier of a notification the user closed.
inline constexpr const char* dismissActionIdentifier = "dismiss";

struct NotificationAction {
    std::string identifier;
    std::string title;
    bool operator==(const NotificationAction&) const = default;
};

struct NotificationCategory {
    std::string identifier;
    std::vector<NotificationAction> actions;
    bool operator==(const NotificationCategory&) const = default;
};

struct NotificationContent {
    std::string title;
    std::string body;
    std::optional<std::string> categoryIdentifier;
    std::map<std::string, std::string> userInfo;
    bool playsSound = false;
    bool operator==(const NotificationContent&) const = default;
};

struct NotificationRequest {
    std::string identifier;
    NotificationContent content;
    bool operator==(const NotificationRequest&) const = default;
};

struct NotificationResponse {
    std::string requestIdentifier;
    std::string categoryIdentifier;
    /// One of the category's action identifiers, `defaultActionIdentifier` or `dismissActionIdentifier`.
    std::string actionIdentifier;
    std::map<std::string, std::string> userInfo;
    bool operator==(const NotificationResponse&) const = default;
};

/// Thrown by operations the notification service refused or could not carry out.
struct NotificationError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class UserNotificationCenter {
public:
    virtual ~UserNotificationCenter() = default;

    /// Asks the user (or the desktop) to allow notifications; true when allowed. Throws NotificationError.
    virtual Support::Task<bool> requestAuthorization() = 0;
    virtual Support::Task<bool> isAuthorized() = 0;
    virtual void setCategories(std::vector<NotificationCategory> categories) = 0;
    /// Shows the notification now (replacing a shown one with the same identifier). Throws NotificationError.
    virtual Support::Task<void> add(NotificationRequest request) = 0;
    /// Removes shown and pending notifications with these identifiers.
    virtual void remove(std::vector<std::string> identifiers) = 0;
    /// Whether notifications can carry buttons.
    virtual bool supportsActions() const = 0;
    [[nodiscard]] virtual Support::Subscription
    observeResponses(std::function<void(const NotificationResponse&)> onResponse) = 0;
};

} // namespace Platform

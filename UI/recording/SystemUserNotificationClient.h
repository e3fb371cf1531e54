// The app's one door to the desktop's notification centre: asks for permission, registers the categories
// with their buttons, shows and removes notifications, and turns the user's clicks into a
// `NotificationClickRoute` handed to the host's route handler on the next turn of the main loop.
//
// Failures never escape: a refused permission request answers false and a notification that cannot be
// shown is logged. A notification the user merely closed is no answer and is not routed. Main loop only.
#pragma once

#include "Platform/UserNotificationCenter.h"
#include "Support/Log.h"
#include "Support/Task.h"
#include "UI/recording/LocalNotificationRequest.h"
#include "UI/recording/NotificationClickRoute.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace UI {

class SystemUserNotificationClient {
public:
    using RouteHandler = std::function<void(const NotificationClickRoute&)>;

    explicit SystemUserNotificationClient(Platform::UserNotificationCenter& center);
    ~SystemUserNotificationClient();

    Support::Task<bool> requestAuthorization();
    Support::Task<bool> isAuthorized();
    void setCategories(std::vector<Platform::NotificationCategory> categories);
    Support::Task<void> deliver(LocalNotificationRequest request);
    Support::Task<void> deliver(std::string identifier, Platform::NotificationContent content);
    void removeNotifications(std::vector<std::string> identifiers);
    /// Whether the desktop shows our buttons (else answers come through the app's own ways).
    bool supportsActions() const { return center_.supportsActions(); }

    /// Installs the host's handler; every later click is routed to it.
    void setRouteHandler(RouteHandler handler);

    /// Every category of the app: the reminder ones with their buttons and the plain ones.
    static std::vector<Platform::NotificationCategory> allCategories();

private:
    Platform::UserNotificationCenter& center_;
    std::shared_ptr<RouteHandler> handler_ = std::make_shared<RouteHandler>();
    Support::Subscription responses_;
    Support::Logger log_{"notifications"};
};

} // namespace UI

// Desktop notifications over D-Bus (org.freedesktop.Notifications), the way every Linux desktop shows
// them. Categories become the action lists sent with each notification (a click on the body is the
// "default" action); our request identifiers are mapped to the server's ids, so a second notification
// with the same identifier replaces the first and `remove` closes it. The server's `ActionInvoked` and
// `NotificationClosed` (closed by the user) signals come back as responses with the identifier, category
// and user info the notification was added with.
//
// The connection's socket is watched by the main loop, so every reply and signal is handled on the main
// thread. When the server does not advertise the "actions" capability, notifications are sent without
// buttons and `supportsActions()` is false (the app then offers its own ways to answer). The desktop has
// no per-app permission: "authorised" means a notification server answers on the bus.
#pragma once

#include "Platform/UserNotificationCenter.h"
#include "Support/MainLoop.h"

#include <memory>
#include <optional>
#include <string>

namespace Platform::Linux {

class FreedesktopNotificationCenter final : public Platform::UserNotificationCenter {
public:
    /// Connects to the session bus, or to the bus at `address` ("unix:path=..."). Throws NotificationError
    /// when no bus can be reached.
    explicit FreedesktopNotificationCenter(Support::MainLoop& loop, std::optional<std::string> address = {});
    ~FreedesktopNotificationCenter() override;

    Support::Task<bool> requestAuthorization() override;
    Support::Task<bool> isAuthorized() override;
    void setCategories(std::vector<NotificationCategory> categories) override;
    Support::Task<void> add(NotificationRequest request) override;
    void remove(std::vector<std::string> identifiers) override;
    bool supportsActions() const override;
    Support::Subscription
    observeResponses(std::function<void(const NotificationResponse&)> onResponse) override;

    /// The app name shown by the server.
    static constexpr const char* appName = "Vellmora";
    /// The label of the body-click action sent to servers that show one.
    static constexpr const char* openLabel = "Open";

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace Platform::Linux

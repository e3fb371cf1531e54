#include "UI/recording/SystemUserNotificationClient.h"

#include "Support/MainLoop.h"
#include "UI/recording/UserNotificationIdentifiers.h"

namespace UI {

SystemUserNotificationClient::SystemUserNotificationClient(Platform::UserNotificationCenter& center)
    : center_(center) {}

SystemUserNotificationClient::~SystemUserNotificationClient() = default;

Support::Task<bool> SystemUserNotificationClient::requestAuthorization() {
    try {
        bool granted = co_await center_.requestAuthorization();
        co_return granted;
    } catch (const std::exception& e) {
        log_.error("Couldn't ask for notification permission: {}", e.what());
    }
    co_return false;
}

Support::Task<bool> SystemUserNotificationClient::isAuthorized() {
    try {
        bool authorized = co_await center_.isAuthorized();
        co_return authorized;
    } catch (const std::exception& e) {
        log_.error("Couldn't read the notification permission: {}", e.what());
    }
    co_return false;
}

void SystemUserNotificationClient::setCategories(std::vector<Platform::NotificationCategory> categories) {
    center_.setCategories(std::move(categories));
}

Support::Task<void> SystemUserNotificationClient::deliver(LocalNotificationRequest request) {
    Platform::NotificationContent content;
    content.title = std::move(request.title);
    content.body = std::move(request.body);
    content.categoryIdentifier = std::move(request.categoryIdentifier);
    content.userInfo = std::move(request.userInfo);
    co_await deliver(std::move(request.identifier), std::move(content));
}

Support::Task<void> SystemUserNotificationClient::deliver(std::string identifier,
                                                          Platform::NotificationContent content) {
    try {
        Platform::NotificationRequest request{std::move(identifier), std::move(content)};
        co_await center_.add(std::move(request));
    } catch (const std::exception& e) {
        log_.error("Couldn't show the recording notification: {}", e.what());
    }
}

void SystemUserNotificationClient::removeNotifications(std::vector<std::string> identifiers) {
    center_.remove(std::move(identifiers));
}

void SystemUserNotificationClient::setRouteHandler(RouteHandler handler) {
    *handler_ = std::move(handler);
    responses_ =
        center_.observeResponses([this, handler = handler_](const Platform::NotificationResponse& r) {
            if (r.actionIdentifier == Platform::dismissActionIdentifier) {
                log_.debug("Notification {} closed", r.requestIdentifier);
                return;
            }
            auto route = NotificationClickRoute::route(r.categoryIdentifier, r.actionIdentifier, r.userInfo);
            Support::MainLoop::current().post([handler, route] {
                if (*handler) {
                    (*handler)(route);
                }
            });
        });
}

std::vector<Platform::NotificationCategory> SystemUserNotificationClient::allCategories() {
    namespace Ids = UserNotificationIdentifiers;
    auto categories = MeetingReminderNotificationContent::categories();
    for (const char* plain : {Ids::autoRecordStarted, Ids::notice, Ids::liveRecapNameMentionCategory,
                              Ids::recordingPermissionCategory}) {
        categories.push_back({plain, {}});
    }
    return categories;
}

} // namespace UI

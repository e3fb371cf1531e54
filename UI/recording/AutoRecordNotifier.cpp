#include "UI/recording/AutoRecordNotifier.h"

#include "UI/recording/AutoRecordNotificationContent.h"
#include "UI/recording/UserNotificationIdentifiers.h"

namespace UI {

void AutoRecordNotifier::requestPermission() {
    (void)Support::startTask([this]() -> Support::Task<void> { co_await requestPermissionAndWait(); });
}

Support::Task<bool> AutoRecordNotifier::requestPermissionAndWait() {
    bool allowed = co_await client_.requestAuthorization();
    log_.info("Notifications for automatic recordings: {}", allowed ? "allowed" : "not allowed");
    co_return allowed;
}

Support::Task<void> AutoRecordNotifier::announceRecordingStarted(std::string appName) {
    auto request = AutoRecordNotificationContent::recordingStarted(appName);
    co_await client_.deliver(std::move(request));
}

Support::Task<void> AutoRecordNotifier::announce(std::string message) {
    LocalNotificationRequest request;
    request.identifier = UserNotificationIdentifiers::notice;
    request.categoryIdentifier = UserNotificationIdentifiers::notice;
    request.title = "Vellmora";
    request.body = std::move(message);
    co_await client_.deliver(std::move(request));
}

} // namespace UI

// Tells the user, at most once every ten minutes per missing permission, that a recording could not start
// because a permission is missing: as a notification when notifications are allowed, else as an alert
// when the host can show one. Which permission is missing is read from the start failure by a reader the
// host supplies (the capture engine knows its own errors). Main loop only.
#pragma once

#include "Support/Log.h"
#include "Support/Scheduler.h"
#include "Support/Task.h"
#include "UI/recording/LocalNotificationRequest.h"
#include "UI/recording/SystemUserNotificationClient.h"

#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string_view>

namespace UI {

class RecordingPermissionNotifier {
public:
    enum class MissingPermission {
        microphone,
        screenRecording,
        accessibility,
        calendar,
        notifications,
        loginItems
    };
    enum class Outcome { notAPermissionFailure, throttled, notified, alertShown, unannounced };

    using MissingPermissionReader = std::function<std::optional<MissingPermission>(std::exception_ptr)>;
    /// Shows an alert with this title and text; false when no alert can be shown now.
    using AlertPresenter = std::function<bool(const LocalNotificationRequest&)>;

    static constexpr double minimumInterval = 600;

    RecordingPermissionNotifier(SystemUserNotificationClient& client, Support::Scheduler& scheduler,
                                MissingPermissionReader reader, AlertPresenter showAlert = {});

    Support::Task<Outcome> recordingStartFailed(std::exception_ptr error);
    Support::Task<Outcome> announce(std::optional<MissingPermission> missing);

    /// The notice for one missing permission.
    static LocalNotificationRequest notice(MissingPermission missing);

private:
    SystemUserNotificationClient& client_;
    Support::Scheduler& scheduler_;
    MissingPermissionReader reader_;
    AlertPresenter showAlert_;
    std::map<MissingPermission, Support::Date> lastNoticeAt_;
    Support::Logger log_{"recordingPermission"};
};

/// "microphone", "screenRecording", "accessibility", "calendar", "notifications", "loginItems".
std::string_view rawValue(RecordingPermissionNotifier::MissingPermission permission);

} // namespace UI

#include "UI/recording/RecordingPermissionNotifier.h"

#include "UI/recording/UserNotificationIdentifiers.h"

namespace UI {

using Missing = RecordingPermissionNotifier::MissingPermission;

RecordingPermissionNotifier::RecordingPermissionNotifier(SystemUserNotificationClient& client,
                                                         Support::Scheduler& scheduler,
                                                         MissingPermissionReader reader,
                                                         AlertPresenter showAlert)
    : client_(client), scheduler_(scheduler), reader_(std::move(reader)), showAlert_(std::move(showAlert)) {}

LocalNotificationRequest RecordingPermissionNotifier::notice(MissingPermission missing) {
    LocalNotificationRequest request;
    request.identifier = UserNotificationIdentifiers::recordingPermissionRequest;
    request.categoryIdentifier = UserNotificationIdentifiers::recordingPermissionCategory;
    request.title = "Vellmora couldn't start recording";
    switch (missing) {
    case Missing::microphone:
        request.body =
            "Vellmora isn't allowed to use the microphone. Allow it in your system's privacy settings, "
            "then start the recording again.";
        break;
    case Missing::screenRecording:
        request.body = "Vellmora isn't allowed to record the screen. Allow screen recording in your system's "
                       "privacy settings, then start the recording again.";
        break;
    case Missing::accessibility:
        request.body =
            "Vellmora needs accessibility access to see which meeting app is in a call. Allow it in "
            "your system's settings, then try again.";
        break;
    case Missing::calendar:
        request.body =
            "Vellmora can't read your calendars, so it can't tell which meeting this is. Allow calendar "
            "access in Settings.";
        break;
    case Missing::notifications:
        request.body =
            "Vellmora isn't allowed to show notifications, so it can't tell you when recording starts. "
            "Allow notifications in your system's settings.";
        break;
    case Missing::loginItems:
        request.body = "Vellmora isn't allowed to run in the background, so it can't record meetings "
                       "automatically. Allow it in your system's startup settings.";
        break;
    }
    return request;
}

Support::Task<RecordingPermissionNotifier::Outcome>
RecordingPermissionNotifier::recordingStartFailed(std::exception_ptr error) {
    auto missing = reader_ ? reader_(error) : std::nullopt;
    auto outcome = co_await announce(missing);
    co_return outcome;
}

Support::Task<RecordingPermissionNotifier::Outcome>
RecordingPermissionNotifier::announce(std::optional<MissingPermission> missing) {
    if (!missing) {
        co_return Outcome::notAPermissionFailure;
    }
    auto now = scheduler_.now();
    auto last = lastNoticeAt_.find(*missing);
    if (last != lastNoticeAt_.end() && now - last->second < Support::seconds(minimumInterval)) {
        log_.info("Recording permission notice skipped: announced a moment ago");
        co_return Outcome::throttled;
    }
    auto request = notice(*missing);
    if (co_await client_.isAuthorized()) {
        co_await client_.deliver(request);
        log_.info("Recording permission notice shown for {}", rawValue(*missing));
        lastNoticeAt_[*missing] = now;
        co_return Outcome::notified;
    }
    if (showAlert_ && showAlert_(request)) {
        lastNoticeAt_[*missing] = now;
        co_return Outcome::alertShown;
    }
    log_.warning(
        "Recording couldn't start for want of a permission, and neither a notification nor an alert is "
        "available");
    co_return Outcome::unannounced;
}

std::string_view rawValue(RecordingPermissionNotifier::MissingPermission permission) {
    switch (permission) {
    case Missing::microphone:
        return "microphone";
    case Missing::screenRecording:
        return "screenRecording";
    case Missing::accessibility:
        return "accessibility";
    case Missing::calendar:
        return "calendar";
    case Missing::notifications:
        return "notifications";
    case Missing::loginItems:
        return "loginItems";
    }
    return "microphone";
}

} // namespace UI

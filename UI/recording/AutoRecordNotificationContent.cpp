#include "UI/recording/AutoRecordNotificationContent.h"

#include "Support/Text.h"
#include "UI/recording/UserNotificationIdentifiers.h"

namespace UI {

LocalNotificationRequest AutoRecordNotificationContent::recordingStarted(std::string_view appName) {
    auto name = Support::Text::trimmed(appName);
    LocalNotificationRequest request;
    request.identifier = UserNotificationIdentifiers::autoRecordStarted;
    request.categoryIdentifier = UserNotificationIdentifiers::autoRecordStarted;
    request.title = "Vellmora started recording";
    request.body = (name.empty() ? std::string("A meeting app") : name) +
                   " is using your microphone. You can stop the recording from the menu bar.";
    return request;
}

} // namespace UI

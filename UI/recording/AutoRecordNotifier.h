// Tells the user that a recording started by itself, and shows short notices ("Vellmora" plus a
// sentence). Main loop only; nothing it does can fail for the caller.
#pragma once

#include "Support/Log.h"
#include "Support/Task.h"
#include "UI/recording/SystemUserNotificationClient.h"

#include <string>
#include <string_view>

namespace UI {

class AutoRecordNotifier {
public:
    explicit AutoRecordNotifier(SystemUserNotificationClient& client) : client_(client) {}

    /// Asks for permission in the background.
    void requestPermission();
    /// Asks for permission and logs the answer.
    Support::Task<bool> requestPermissionAndWait();
    Support::Task<void> announceRecordingStarted(std::string appName);
    /// A notice titled "Vellmora" with `message` as its body.
    Support::Task<void> announce(std::string message);

private:
    SystemUserNotificationClient& client_;
    Support::Logger log_{"autoRecord"};
};

} // namespace UI

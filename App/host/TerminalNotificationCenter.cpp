#include "App/host/TerminalNotificationCenter.h"

namespace App {

Support::Task<bool> TerminalNotificationCenter::requestAuthorization() {
    return Support::startTask([]() -> Support::Task<bool> { co_return true; });
}

Support::Task<bool> TerminalNotificationCenter::isAuthorized() {
    return Support::startTask([]() -> Support::Task<bool> { co_return true; });
}

Support::Task<void> TerminalNotificationCenter::add(Platform::NotificationRequest request) {
    std::string line = "🔔 " + request.content.title;
    if (!request.content.body.empty()) {
        line += " — " + request.content.body;
    }
    print_(line);
    return Support::startTask([]() -> Support::Task<void> { co_return; });
}

} // namespace App

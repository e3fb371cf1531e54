// Notifications for a host without a desktop notification server: each one is printed in the terminal
// ("🔔 title — body"). There are no buttons, so reminders are answered on the overlay card and through the
// menu's keys instead.
#pragma once

#include "Platform/UserNotificationCenter.h"

#include <functional>

namespace App {

class TerminalNotificationCenter final : public Platform::UserNotificationCenter {
public:
    using Printer = std::function<void(const std::string&)>;
    explicit TerminalNotificationCenter(Printer print) : print_(std::move(print)) {}

    Support::Task<bool> requestAuthorization() override;
    Support::Task<bool> isAuthorized() override;
    void setCategories(std::vector<Platform::NotificationCategory>) override {}
    Support::Task<void> add(Platform::NotificationRequest request) override;
    void remove(std::vector<std::string>) override {}
    bool supportsActions() const override { return false; }
    Support::Subscription
    observeResponses(std::function<void(const Platform::NotificationResponse&)>) override {
        return {};
    }

private:
    Printer print_;
};

} // namespace App

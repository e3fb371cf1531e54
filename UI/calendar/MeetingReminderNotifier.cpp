#include "UI/calendar/MeetingReminderNotifier.h"

#include "UI/calendar/MeetingReminderNotificationContent.h"

namespace UI {

Support::Task<bool> MeetingReminderNotifier::prepare() {
    client_.setCategories(SystemUserNotificationClient::allCategories());
    bool granted = co_await client_.requestAuthorization();
    co_return granted;
}

Support::Task<void> MeetingReminderNotifier::post(const MeetingReminderBanner& banner, Support::Date now) {
    auto request = MeetingReminderNotificationContent::request(banner, now);
    co_await client_.deliver(std::move(request.identifier), std::move(request.content));
}

void MeetingReminderNotifier::remove(const std::set<std::string>& occurrenceKeys) {
    std::vector<std::string> identifiers;
    for (const auto& key : occurrenceKeys) {
        for (auto& id : MeetingReminderNotificationContent::identifiers(key)) {
            identifiers.push_back(std::move(id));
        }
    }
    if (!identifiers.empty()) {
        client_.removeNotifications(std::move(identifiers));
    }
}

} // namespace UI

#include "UI/recording/NotificationClickRoute.h"

#include "Platform/UserNotificationCenter.h"
#include "UI/recording/UserNotificationIdentifiers.h"

namespace UI {

NotificationClickRoute NotificationClickRoute::route(std::string_view category, std::string_view action,
                                                     const std::map<std::string, std::string>& userInfo) {
    namespace Ids = UserNotificationIdentifiers;
    if (auto response = MeetingReminderResponse::parse(category, action, userInfo)) {
        return {Kind::meetingReminder, std::move(response)};
    }
    if (MeetingReminderResponse::isCategory(category)) {
        return {Kind::none, std::nullopt};
    }
    if (category == Ids::liveRecapNameMentionCategory) {
        return {Kind::liveRecapNameMention, std::nullopt};
    }
    if (category == Ids::recordingPermissionCategory) {
        return {action == Platform::defaultActionIdentifier ? Kind::recordingPermission : Kind::none,
                std::nullopt};
    }
    return {Kind::openApp, std::nullopt};
}

} // namespace UI

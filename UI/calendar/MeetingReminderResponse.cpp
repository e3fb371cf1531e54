#include "UI/calendar/MeetingReminderResponse.h"

#include "Support/EnumNames.h"
#include "Support/Text.h"
#include "Support/Uuid.h"
#include "UI/calendar/MeetingReminderNotificationContent.h"

#include <utility>

namespace UI {

namespace {

using Content = MeetingReminderNotificationContent;
using Action = MeetingReminderResponse::Action;

constexpr Support::EnumName<Action> actionNames[] = {
    {Action::open, "open"},     {Action::joinAndRecord, "joinAndRecord"}, {Action::join, "join"},
    {Action::snooze, "snooze"}, {Action::recordNow, "recordNow"},
};

std::optional<int> smallNumber(const std::map<std::string, std::string>& info, const char* key) {
    auto it = info.find(key);
    if (it == info.end() || it->second.size() != 1 || it->second[0] < '0' || it->second[0] > '9') {
        return std::nullopt;
    }
    return it->second[0] - '0';
}

} // namespace

bool MeetingReminderResponse::isCategory(std::string_view category) {
    return category == Content::categoryPrefix ||
           Support::Text::startsWith(category, std::string(Content::categoryPrefix) + ".");
}

std::optional<MeetingReminderResponse>
MeetingReminderResponse::parse(std::string_view category, std::string_view action,
                               const std::map<std::string, std::string>& userInfo) {
    if (!Support::Text::startsWith(category, Content::categoryPrefix)) {
        return std::nullopt;
    }
    auto key = userInfo.find("occurrenceKey");
    if (key == userInfo.end() || key->second.empty()) {
        return std::nullopt;
    }
    MeetingReminderResponse response;
    response.occurrenceKey = key->second;
    response.action = action == Content::joinRecordAction  ? Action::joinAndRecord
                      : action == Content::joinAction      ? Action::join
                      : action == Content::snoozeAction    ? Action::snooze
                      : action == Content::recordNowAction ? Action::recordNow
                                                           : Action::open;
    response.kind = category == Content::busyCategory           ? MeetingReminderBanner::Kind::busy
                    : category == Content::notRecordingCategory ? MeetingReminderBanner::Kind::notRecordingYet
                                                                : MeetingReminderBanner::Kind::headsUp;
    if (auto kind = smallNumber(userInfo, "kind"); kind && *kind < 3) {
        response.kind = static_cast<MeetingReminderBanner::Kind>(*kind);
    }
    if (auto stage = smallNumber(userInfo, "stage"); stage && *stage < 2) {
        response.stage = *stage == 0 ? CalendarReminderStage::headsUp : CalendarReminderStage::overlay;
    }
    if (auto id = userInfo.find("intentID"); id != userInfo.end() && Support::Uuid::isValid(id->second)) {
        response.intentID = id->second;
    }
    return response;
}

std::string_view rawValue(MeetingReminderResponse::Action action) {
    return Support::enumName(actionNames, action);
}

std::optional<MeetingReminderResponse::Action> meetingReminderActionFromRaw(std::string_view raw) {
    return Support::enumValue(actionNames, raw);
}

} // namespace UI

// Every notification category, action and request identifier of the app. Meeting reminders keep theirs in
// `MeetingReminderNotificationContent`; they are repeated here by reference so this is the one list.
#pragma once

#include "UI/calendar/MeetingReminderNotificationContent.h"

namespace UI::UserNotificationIdentifiers {

inline constexpr const char* prefix = "dev.tessadine.vellmora.";
inline constexpr const char* meetingReminderCategory = MeetingReminderNotificationContent::reminderCategory;
inline constexpr const char* meetingReminderBusyCategory = MeetingReminderNotificationContent::busyCategory;
inline constexpr const char* meetingReminderNotRecordingCategory =
    MeetingReminderNotificationContent::notRecordingCategory;
inline constexpr const char* autoRecordStarted = "dev.tessadine.vellmora.autoRecordStarted";
inline constexpr const char* notice = "dev.tessadine.vellmora.notice";
inline constexpr const char* liveRecapNameMentionCategory = "dev.tessadine.vellmora.liveRecap.nameMention";
inline constexpr const char* liveRecapNameMentionRequest = "dev.tessadine.vellmora.liveRecapNameMention";
inline constexpr const char* recordingPermissionCategory = "dev.tessadine.vellmora.recordingPermission";
inline constexpr const char* recordingPermissionRequest = "dev.tessadine.vellmora.recordingPermissionNotice";

} // namespace UI::UserNotificationIdentifiers

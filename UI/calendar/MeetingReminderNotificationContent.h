// The notification identifiers, buttons and texts of meeting reminders. Request identifiers are per
// meeting ("meetingReminder.<occurrence key>", and "meetingReminder.notRecording.<key>" for the nudge), so
// a newer reminder of the same meeting replaces the older one and taking a meeting back removes both.
// The user info carries "occurrenceKey", "stage" ("0" heads-up, "1" overlay), "kind" ("0" heads-up,
// "1" busy, "2" not recording yet) and "intentID" (a UUID) when there is one.
#pragma once

#include "Platform/UserNotificationCenter.h"
#include "Support/Time.h"
#include "UI/calendar/MeetingReminderBanner.h"

#include <array>
#include <string>
#include <vector>

namespace UI {

struct MeetingReminderNotificationContent {
    static constexpr const char* categoryPrefix = "dev.tessadine.vellmora.meetingReminder";
    static constexpr const char* reminderCategory = "dev.tessadine.vellmora.meetingReminder";
    static constexpr const char* busyCategory = "dev.tessadine.vellmora.meetingReminder.busy";
    static constexpr const char* notRecordingCategory = "dev.tessadine.vellmora.meetingReminder.notRecording";
    static constexpr const char* joinRecordAction = "dev.tessadine.vellmora.meetingReminder.joinRecord";
    static constexpr const char* joinAction = "dev.tessadine.vellmora.meetingReminder.join";
    static constexpr const char* snoozeAction = "dev.tessadine.vellmora.meetingReminder.snooze";
    static constexpr const char* recordNowAction = "dev.tessadine.vellmora.meetingReminder.recordNow";

    static std::string reminderIdentifier(const std::string& occurrenceKey) {
        return "meetingReminder." + occurrenceKey;
    }
    static std::string notRecordingIdentifier(const std::string& occurrenceKey) {
        return "meetingReminder.notRecording." + occurrenceKey;
    }
    static std::array<std::string, 2> identifiers(const std::string& occurrenceKey) {
        return {reminderIdentifier(occurrenceKey), notRecordingIdentifier(occurrenceKey)};
    }

    /// The three reminder categories with their buttons.
    static std::vector<Platform::NotificationCategory> categories();
    /// The notification for a banner at `now`.
    static Platform::NotificationRequest request(const MeetingReminderBanner& banner, Support::Date now);
    /// The title and body of a banner, also used where notifications cannot be shown (the terminal).
    static std::string title(const MeetingReminderBanner& banner);
    static std::string body(const MeetingReminderBanner& banner, Support::Date now);
};

} // namespace UI

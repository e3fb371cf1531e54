#include "UI/calendar/MeetingReminderNotificationContent.h"

#include "UI/calendar/MeetingOverlayPresentation.h"
#include "UI/calendar/MeetingService.h"

namespace UI {

std::vector<Platform::NotificationCategory> MeetingReminderNotificationContent::categories() {
    return {
        {reminderCategory,
         {{joinRecordAction, "Join & Record"}, {joinAction, "Join"}, {snoozeAction, "Snooze"}}},
        {busyCategory, {{joinRecordAction, "Join & Record"}, {joinAction, "Join"}}},
        {notRecordingCategory, {{recordNowAction, "Record Now"}}},
    };
}

std::string MeetingReminderNotificationContent::title(const MeetingReminderBanner& banner) {
    if (banner.kind == MeetingReminderBanner::Kind::notRecordingYet) {
        return "Not recording " + banner.meeting.displayTitle();
    }
    return banner.meeting.displayTitle();
}

std::string MeetingReminderNotificationContent::body(const MeetingReminderBanner& banner, Support::Date now) {
    std::string service(displayName(banner.meeting.link.service));
    auto when = MeetingOverlayPresentation::timeText(banner.meeting.start, now);
    switch (banner.kind) {
    case MeetingReminderBanner::Kind::headsUp:
        return when + " on " + service + ".";
    case MeetingReminderBanner::Kind::busy:
        return when + " on " + service + ". You're still in another call.";
    case MeetingReminderBanner::Kind::notRecordingYet:
        return "The meeting has started and nothing is being recorded. Record it now?";
    }
    return when;
}

Platform::NotificationRequest MeetingReminderNotificationContent::request(const MeetingReminderBanner& banner,
                                                                          Support::Date now) {
    Platform::NotificationRequest request;
    const auto& key = banner.meeting.occurrenceKey;
    bool nudge = banner.kind == MeetingReminderBanner::Kind::notRecordingYet;
    request.identifier = nudge ? notRecordingIdentifier(key) : reminderIdentifier(key);
    request.content.title = title(banner);
    request.content.body = body(banner, now);
    request.content.categoryIdentifier = nudge ? notRecordingCategory
                                         : banner.kind == MeetingReminderBanner::Kind::busy
                                             ? busyCategory
                                             : reminderCategory;
    request.content.playsSound = banner.playsSound;
    request.content.userInfo = {{"occurrenceKey", key},
                                {"stage", banner.stage == CalendarReminderStage::headsUp ? "0" : "1"},
                                {"kind", std::to_string(static_cast<int>(banner.kind))}};
    if (banner.intentID) {
        request.content.userInfo["intentID"] = *banner.intentID;
    }
    return request;
}

} // namespace UI

// What one reminder notification shows: a heads-up before a meeting, the same while the user is already in
// another call ("busy"), or the nudge that a meeting joined with Join & Record started and nothing is
// being recorded yet.
#pragma once

#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarReminderStage.h"

#include <optional>
#include <string>

namespace UI {

struct MeetingReminderBanner {
    enum class Kind { headsUp, busy, notRecordingYet };

    Kind kind = Kind::headsUp;
    CalendarMeeting meeting;
    CalendarReminderStage stage = CalendarReminderStage::headsUp;
    bool playsSound = false;
    std::optional<std::string> intentID;

    bool operator==(const MeetingReminderBanner&) const = default;
};

/// "headsUp", "busy", "notRecordingYet".
inline std::string_view rawValue(MeetingReminderBanner::Kind kind) {
    switch (kind) {
    case MeetingReminderBanner::Kind::headsUp:
        return "headsUp";
    case MeetingReminderBanner::Kind::busy:
        return "busy";
    case MeetingReminderBanner::Kind::notRecordingYet:
        return "notRecordingYet";
    }
    return "headsUp";
}

} // namespace UI

// One thing the planner says to present now: a heads-up for one meeting, or the overlay card for a main
// meeting with the meetings that start at about the same time as extra rows.
#pragma once

#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarReminderStage.h"

#include <vector>

namespace UI {

class CalendarReminderAction {
public:
    static CalendarReminderAction headsUp(CalendarMeeting meeting) {
        return CalendarReminderAction(CalendarReminderStage::headsUp, std::move(meeting), {});
    }
    static CalendarReminderAction overlay(CalendarMeeting main, std::vector<CalendarMeeting> extras) {
        return CalendarReminderAction(CalendarReminderStage::overlay, std::move(main), std::move(extras));
    }

    CalendarReminderStage stage() const { return stage_; }
    const CalendarMeeting& main() const { return main_; }
    /// Empty for a heads-up.
    const std::vector<CalendarMeeting>& extras() const { return extras_; }
    /// The main meeting followed by the extras.
    std::vector<CalendarMeeting> meetings() const {
        std::vector<CalendarMeeting> all{main_};
        all.insert(all.end(), extras_.begin(), extras_.end());
        return all;
    }

    bool operator==(const CalendarReminderAction&) const = default;

private:
    CalendarReminderAction(CalendarReminderStage stage, CalendarMeeting main,
                           std::vector<CalendarMeeting> extras)
        : stage_(stage), main_(std::move(main)), extras_(std::move(extras)) {}

    CalendarReminderStage stage_;
    CalendarMeeting main_;
    std::vector<CalendarMeeting> extras_;
};

} // namespace UI

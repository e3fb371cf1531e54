// The reminder planner: a pure function from the upcoming meetings, the current time, the settings and the
// ledger to what to present now, what to take back, and when to look again. The coordinator runs it on
// every pass and records what it presented in the ledger, so running it twice at the same moment with the
// updated ledger presents nothing twice.
//
// Per meeting (sorted by start, ties by occurrence key), a dismissed meeting or one that is over gives
// nothing. The rules for each stage, in the order they are tried:
//
// Overlay (only while `showsOverlay`):
//   1. Snoozed overlay: waits until `snoozedUntil`; once that has passed it is due, but only up to
//      start + `overlaySnoozeCutoff` (a computer that slept past the cut-off shows nothing).
//   2. Already shown: nothing (the card's own close time is the coordinator's business; the planner wakes
//      at start + `overlaySnoozeCutoff`, the earliest moment a shown card can close).
//   3. Before its due time: nothing, wake at the due time.
//   4. Found at or after its due time: due while now ≤ start + `overlayLateWindow`, so a computer that wakes
//      up to five minutes into the meeting still gets the card; later, never.
//
// Heads-up (only while `showsHeadsUp`):
//   1. Never once the meeting's overlay was shown or is due in this same pass, nor for a meeting that is an
//      extra row of a card planned in this pass: the card says more.
//   2. Snoozed heads-up: waits until `snoozedUntil`, then counts as due at `snoozedUntil`.
//   3. Already shown (and not snoozed): nothing. Before its due time: wake at the due time.
//   4. Found within `lateTolerance` of its due time: on time, shown.
//   5. Found later (the computer slept, the app started late): shown only before the meeting starts and
//      only when the overlay is off or still more than `lateHeadsUpOverlayGap` away; otherwise it is
//      skipped for good and the overlay alone reminds.
//
// Withdrawals: an entry with a shown stage is taken back when its meeting is no longer in the list with the
// same start, until 600 s after the entry's start. Dismissed entries are never withdrawn: their reminders
// were already taken away when the user dismissed them, and keeping the entry keeps the dismissal if the
// calendar briefly loses the meeting.
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarReminderLedger.h"
#include "UI/calendar/CalendarReminderPlan.h"
#include "UI/calendar/CalendarReminderSettings.h"
#include "UI/calendar/CalendarReminderStage.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UI {

struct CalendarReminderPlanner {
    static constexpr double lateTolerance = 60;
    static constexpr double lateHeadsUpOverlayGap = 180;
    static constexpr double overlayLateWindow = 300;
    static constexpr double headsUpSnooze = 300;
    static constexpr double overlaySnoozeLead = 60;
    static constexpr double overlaySnoozeDelay = 120;
    static constexpr double overlaySnoozeCutoff = 600;
    static constexpr double overlayMinimumVisible = 60;
    static constexpr double overlapWindow = 120;
    static constexpr std::size_t maxExtraRows = 2;

    static CalendarReminderPlan plan(const std::vector<CalendarMeeting>& meetings, Support::Date now,
                                     const CalendarReminderSettings& settings,
                                     const CalendarReminderLedger& ledger);

    /// When the stage is due for the meeting, or nothing when the settings do not show it.
    static std::optional<Support::Date> dueTime(CalendarReminderStage stage, const CalendarMeeting& meeting,
                                                const CalendarReminderSettings& settings);
    /// When a snoozed stage comes back, or nothing when it cannot be snoozed now.
    static std::optional<Support::Date> snoozeTarget(CalendarReminderStage stage,
                                                     const CalendarMeeting& meeting,
                                                     const CalendarReminderSettings& settings,
                                                     Support::Date now);
    /// When a card shown at `shownAt` for `main` closes: the later of start + cut-off and shownAt + the
    /// minimum visible time, never after the meeting's end.
    static Support::Date overlayCloseTime(const CalendarMeeting& main, Support::Date shownAt);

private:
    struct Sorted;
    static std::vector<CalendarMeeting> overlayCard(const Sorted& sorted, std::size_t mainIndex,
                                                    Support::Date now);
    static std::set<std::string> withdrawnKeys(const std::vector<CalendarMeeting>& meetings,
                                               Support::Date now, const CalendarReminderLedger& ledger);
};

} // namespace UI

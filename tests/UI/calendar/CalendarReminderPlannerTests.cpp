#include "UI/calendar/CalendarReminderPlanner.h"

#include "ReminderTestMeetings.h"

#include <gtest/gtest.h>

using namespace ReminderTest;
using UI::CalendarReminderLedger;
using UI::CalendarReminderPlan;
using UI::CalendarReminderPlanner;
using UI::CalendarReminderSettings;
using UI::CalendarReminderStage;

namespace {

CalendarReminderSettings settings(std::optional<int> headsUp = 15, std::optional<int> overlay = 1) {
    CalendarReminderSettings s;
    s.isEnabled = true;
    s.headsUpMinutes = headsUp;
    s.overlayMinutes = overlay;
    return s;
}

std::vector<std::string> describe(const CalendarReminderPlan& plan) {
    std::vector<std::string> out;
    for (const auto& action : plan.actions) {
        std::string text(UI::rawValue(action.stage()));
        for (const auto& m : action.meetings()) {
            text += " " + m.calendarItemID;
        }
        out.push_back(text);
    }
    return out;
}

using Strings = std::vector<std::string>;

} // namespace

TEST(CalendarReminderPlanner, ShowsTheHeadsUpAndTheOverlayAtTheirDueTimesAndWakesForTheNextOne) {
    auto m = meeting("A", ten);
    CalendarReminderLedger ledger;
    auto early = CalendarReminderPlanner::plan({m}, at(9, 30), settings(), ledger);
    EXPECT_TRUE(early.actions.empty());
    EXPECT_EQ(early.nextWake, at(9, 45));

    auto headsUp = CalendarReminderPlanner::plan({m}, at(9, 45), settings(), ledger);
    EXPECT_EQ(describe(headsUp), Strings{"headsUp A"});
    EXPECT_EQ(headsUp.nextWake, at(9, 59));
    ledger.markShown(CalendarReminderStage::headsUp, m);

    auto between = CalendarReminderPlanner::plan({m}, at(9, 50), settings(), ledger);
    EXPECT_TRUE(between.actions.empty());
    auto overlay = CalendarReminderPlanner::plan({m}, at(9, 59), settings(), ledger);
    EXPECT_EQ(describe(overlay), Strings{"overlay A"});
    ledger.markShown(CalendarReminderStage::overlay, m);
    auto after = CalendarReminderPlanner::plan({m}, at(9, 59, 30), settings(), ledger);
    EXPECT_TRUE(after.actions.empty());
    EXPECT_EQ(after.nextWake, at(10, 10)); // the earliest close of the shown card
}

TEST(CalendarReminderPlanner, FollowsTheSettingsForEachStage) {
    auto m = meeting("A", ten);
    CalendarReminderLedger ledger;
    // Heads-up 5 and overlay 5: the heads-up would not come first, so only the overlay is shown.
    EXPECT_EQ(describe(CalendarReminderPlanner::plan({m}, at(9, 55), settings(5, 5), ledger)),
              Strings{"overlay A"});
    // Overlay "When it starts" is due exactly at the start.
    EXPECT_EQ(CalendarReminderPlanner::dueTime(CalendarReminderStage::overlay, m, settings(15, 0)), ten);
    EXPECT_TRUE(
        CalendarReminderPlanner::plan({m}, at(9, 59, 59), settings(std::nullopt, 0), ledger).actions.empty());
    EXPECT_EQ(describe(CalendarReminderPlanner::plan({m}, ten, settings(std::nullopt, 0), ledger)),
              Strings{"overlay A"});
    // Overlay off: the heads-up still comes.
    EXPECT_EQ(describe(CalendarReminderPlanner::plan({m}, at(9, 45), settings(15, std::nullopt), ledger)),
              Strings{"headsUp A"});
    // Reminders off: nothing, and no wake.
    auto off = settings();
    off.isEnabled = false;
    auto plan = CalendarReminderPlanner::plan({m}, at(9, 59), off, ledger);
    EXPECT_TRUE(plan.actions.empty());
    EXPECT_FALSE(plan.nextWake);
}

struct LateCase {
    const char* name;
    Support::Date now;
    std::optional<int> headsUp;
    std::optional<int> overlay;
    std::vector<std::string> expected;
};

TEST(CalendarReminderPlanner, AppliesTheLateRulesInTheirDocumentedOrder) {
    const LateCase cases[] = {
        {"heads-up within the tolerance is on time", at(9, 46), 15, 1, {"headsUp A"}},
        {"heads-up found late, overlay far enough away", at(9, 50), 15, 1, {"headsUp A"}},
        {"heads-up found late, overlay due within the gap", at(9, 57), 15, 1, {}},
        {"heads-up found late, overlay off, before the start", at(9, 58), 15, std::nullopt, {"headsUp A"}},
        {"heads-up found after the start is skipped", at(10, 1), 15, std::nullopt, {}},
        {"heads-up 5 with overlay 2, found at 9:56:30", at(9, 56, 30), 5, 2, {}},
        {"overlay found late but before the start", at(9, 59, 50), std::nullopt, 1, {"overlay A"}},
        {"overlay found after the start, within its window", at(10, 5), 15, 1, {"overlay A"}},
        {"overlay found past its window (woke mid-meeting)", at(10, 5, 1), 15, 1, {}},
        {"woke mid-meeting: no heads-up, the overlay alone", at(10, 3), 15, 1, {"overlay A"}},
        {"meeting over", at(10, 30), 15, 1, {}},
    };
    auto m = meeting("A", ten);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(describe(CalendarReminderPlanner::plan({m}, c.now, settings(c.headsUp, c.overlay), {})),
                  c.expected);
    }
}

TEST(CalendarReminderPlanner, ComputesSnoozeTargetsWithTheirLimits) {
    auto m = meeting("A", ten);
    using P = CalendarReminderPlanner;
    // Heads-up: cannot be snoozed past the overlay (9:59).
    EXPECT_FALSE(P::snoozeTarget(CalendarReminderStage::headsUp, m, settings(), at(9, 54)));
    EXPECT_EQ(P::snoozeTarget(CalendarReminderStage::headsUp, m, settings(), at(9, 53)), at(9, 58));
    // Without the overlay the start is the limit.
    EXPECT_EQ(P::snoozeTarget(CalendarReminderStage::headsUp, m, settings(15, std::nullopt), at(9, 54)),
              at(9, 59));
    EXPECT_FALSE(P::snoozeTarget(CalendarReminderStage::headsUp, m, settings(15, std::nullopt), at(9, 55)));
    // Overlay: one minute before the start while that is ahead, else two minutes from now, up to the cut-off.
    EXPECT_EQ(P::snoozeTarget(CalendarReminderStage::overlay, m, settings(), at(9, 55)), at(9, 59));
    EXPECT_EQ(P::snoozeTarget(CalendarReminderStage::overlay, m, settings(), at(9, 59, 30)), at(10, 1, 30));
    EXPECT_EQ(P::snoozeTarget(CalendarReminderStage::overlay, m, settings(), at(10, 8)), at(10, 10));
    EXPECT_FALSE(P::snoozeTarget(CalendarReminderStage::overlay, m, settings(), at(10, 9)));
    // Never at or after the meeting's end.
    EXPECT_FALSE(
        P::snoozeTarget(CalendarReminderStage::overlay, meeting("S", ten, 2), settings(), at(10, 1)));
}

TEST(CalendarReminderPlanner, BringsASnoozedStageBackWhenItsSnoozeEndsButNeverAfterTheCutOff) {
    auto m = meeting("A", ten);
    CalendarReminderLedger ledger;
    ledger.markShown(CalendarReminderStage::headsUp, m);
    ledger.markShown(CalendarReminderStage::overlay, m);
    ledger.snooze(CalendarReminderStage::overlay, m, at(10, 1, 30));
    auto waiting = CalendarReminderPlanner::plan({m}, at(9, 59, 30), settings(), ledger);
    EXPECT_TRUE(waiting.actions.empty());
    EXPECT_EQ(waiting.nextWake, at(10, 1, 30));
    EXPECT_EQ(describe(CalendarReminderPlanner::plan({m}, at(10, 1, 30), settings(), ledger)),
              Strings{"overlay A"});
    // A computer that slept through the snooze and woke after the cut-off shows nothing.
    EXPECT_TRUE(CalendarReminderPlanner::plan({m}, at(10, 10, 1), settings(), ledger).actions.empty());

    CalendarReminderLedger headsUpLedger;
    headsUpLedger.markShown(CalendarReminderStage::headsUp, m);
    headsUpLedger.snooze(CalendarReminderStage::headsUp, m, at(9, 50));
    EXPECT_EQ(describe(CalendarReminderPlanner::plan({m}, at(9, 50), settings(), headsUpLedger)),
              Strings{"headsUp A"});
    // A snoozed heads-up found late follows the late rule: the overlay is too near.
    EXPECT_TRUE(CalendarReminderPlanner::plan({m}, at(9, 57), settings(), headsUpLedger).actions.empty());
}

TEST(CalendarReminderPlanner, PutsMeetingsStartingWithinTwoMinutesOnOneCard) {
    std::vector<UI::CalendarMeeting> meetings = {meeting("D", at(10, 3)), meeting("C", at(10, 2)),
                                                 meeting("A", ten), meeting("B", at(10, 1))};
    auto plan = CalendarReminderPlanner::plan(meetings, at(9, 59), settings(std::nullopt, 1), {});
    EXPECT_EQ(describe(plan), Strings{"overlay A B C"});
    // At 10:02 D's overlay is due: its card lists the two before it that are within two minutes.
    CalendarReminderLedger ledger;
    for (const auto& m : meetings) {
        if (m.calendarItemID != "D") {
            ledger.markShown(CalendarReminderStage::overlay, m);
        }
    }
    EXPECT_EQ(describe(CalendarReminderPlanner::plan(meetings, at(10, 2), settings(std::nullopt, 1), ledger)),
              Strings{"overlay D B C"});
}

TEST(CalendarReminderPlanner, KeepsEachMeetingsOwnHeadsUpWhenMeetingsOverlap) {
    std::vector<UI::CalendarMeeting> meetings = {meeting("A", ten, 60), meeting("B", at(10, 30))};
    auto plan = CalendarReminderPlanner::plan(meetings, at(10, 15), settings(), {});
    EXPECT_EQ(describe(plan), Strings{"headsUp B"});
    EXPECT_EQ(describe(CalendarReminderPlanner::plan(meetings, at(10, 29), settings(), {})),
              Strings{"overlay B"});
}

TEST(CalendarReminderPlanner, WithdrawsShownRemindersOfMeetingsThatVanishedOrMoved) {
    auto a = meeting("A", ten);
    auto b = meeting("B", ten);
    auto dismissed = meeting("C", ten);
    CalendarReminderLedger ledger;
    ledger.markShown(CalendarReminderStage::headsUp, a);
    ledger.markShown(CalendarReminderStage::headsUp, b);
    ledger.markShown(CalendarReminderStage::headsUp, dismissed);
    ledger.dismiss(dismissed);
    auto moved = b;
    moved.start = at(10, 30);
    moved.end = at(11, 0);
    auto plan = CalendarReminderPlanner::plan({moved}, at(9, 50), settings(), ledger);
    EXPECT_EQ(plan.withdrawnKeys, (std::set<std::string>{a.occurrenceKey, b.occurrenceKey}));
    // The moved meeting has a fresh entry: it is reminded again at its new time.
    EXPECT_EQ(describe(CalendarReminderPlanner::plan({moved}, at(10, 15), settings(), ledger)),
              Strings{"headsUp B"});
    // Ten minutes after the old start there is nothing left to take back.
    EXPECT_TRUE(CalendarReminderPlanner::plan({}, at(10, 10), settings(), ledger).withdrawnKeys.empty());
}

TEST(CalendarReminderPlanner, ClosesTheCardAtTheCutOffButShowsItAtLeastAMinute) {
    auto m = meeting("A", ten);
    EXPECT_EQ(CalendarReminderPlanner::overlayCloseTime(m, at(9, 59)), at(10, 10));
    EXPECT_EQ(CalendarReminderPlanner::overlayCloseTime(m, at(10, 9, 30)), at(10, 10, 30));
    EXPECT_EQ(CalendarReminderPlanner::overlayCloseTime(meeting("S", ten, 5), at(9, 59)), at(10, 5));
}

#include "UI/calendar/JoinIntentStore.h"
#include "UI/calendar/JoinRecordingDecider.h"

#include "Support/MainLoop.h"

#include "ReminderTestMeetings.h"

#include <gtest/gtest.h>

#include <thread>

using namespace ReminderTest;
using UI::JoinDirective;
using UI::JoinIntent;
using UI::JoinIntentStore;
using UI::JoinRecordingDecider;

namespace {

UI::JoinTarget zoomApp() {
    return UI::JoinTarget{*Support::Url::parse("zoommtg://zoom.us/join?confno=1"), "zoom", "us.zoom.xos",
                          true};
}
UI::JoinTarget browser() {
    return UI::JoinTarget{*Support::Url::parse("https://meet.google.com/abc"), "meet", "org.mozilla.firefox",
                          false};
}

JoinIntent intent(JoinIntent::Mode mode, const UI::JoinTarget& target, Support::Date clickedAt,
                  UI::CalendarMeeting m = meeting("A", ten, 60), std::string id = {}) {
    return JoinIntent::make(std::move(m), mode, target, clickedAt, {}, std::move(id));
}

} // namespace

TEST(JoinIntent, ExpiresFifteenMinutesAfterTheLaterOfStartAndClickButNeverAfterTheEnd) {
    auto shortMeeting = meeting("S", ten, 5);
    EXPECT_EQ(JoinIntent::expiry(at(9, 50), shortMeeting), at(10, 5));
    auto hour = meeting("H", ten, 60);
    EXPECT_EQ(JoinIntent::expiry(at(10, 20), hour), at(10, 35));
    EXPECT_EQ(JoinIntent::nudgeTime(at(10, 20), hour), at(10, 22));
    EXPECT_EQ(JoinIntent::nudgeTime(at(9, 50), hour), at(10, 2));
    auto made = intent(JoinIntent::Mode::record, zoomApp(), at(9, 50));
    EXPECT_EQ(made.expiresAt, at(10, 15));
    EXPECT_EQ(made.state, JoinIntent::State::armed);
    EXPECT_EQ(made.bundleIDs, (std::set<std::string>{"us.zoom.xos", "us.zoom"}));
    EXPECT_FALSE(made.id.empty());
}

TEST(JoinIntent, MatchesCallsByAppPrefixOrByBeingInABrowser) {
    auto zoom = intent(JoinIntent::Mode::record, zoomApp(), at(9, 50));
    EXPECT_TRUE(zoom.matches("us.zoom.xos", false));
    EXPECT_TRUE(zoom.matches("US.ZOOM.videomeetings", false));
    EXPECT_FALSE(zoom.matches("us.zoom.xos", true));
    EXPECT_FALSE(zoom.matches("com.microsoft.teams2", false));
    auto meet = intent(JoinIntent::Mode::record, browser(), at(9, 50));
    EXPECT_TRUE(meet.matches("com.apple.Safari", true));
    EXPECT_FALSE(meet.matches("us.zoom.xos", false));
    auto teams =
        intent(JoinIntent::Mode::skip,
               UI::JoinTarget{*Support::Url::parse("msteams:/l/x"), "teams", "com.microsoft.teams2", true},
               at(9, 50));
    EXPECT_TRUE(teams.matches("com.microsoft.teams", false)); // the classic app too
}

TEST(JoinIntentStore, GivesTheNewestLiveMatchingIntentsDirective) {
    Support::MainLoop loop;
    JoinIntentStore store;
    EXPECT_EQ(store.directive("us.zoom.xos", false, at(9, 55)).kind, JoinDirective::Kind::ignore);
    store.registerIntent(intent(JoinIntent::Mode::record, zoomApp(), at(9, 50), meeting("A", ten), "1"),
                         at(9, 50));
    store.registerIntent(intent(JoinIntent::Mode::skip, zoomApp(), at(9, 52), meeting("B", ten), "2"),
                         at(9, 52));
    auto directive = store.directive("us.zoom.xos", false, at(9, 55));
    EXPECT_EQ(directive.kind, JoinDirective::Kind::suppress);
    EXPECT_EQ(directive.intent()->id, "2");
    EXPECT_TRUE(store.hasLiveRecord(at(9, 55)));
    EXPECT_TRUE(store.hasLiveRecordValue().get());

    EXPECT_TRUE(store.skipMatched(*directive.intent(), at(9, 55)));
    EXPECT_FALSE(store.consume("2", at(9, 55))); // already consumed
    EXPECT_EQ(store.directive("us.zoom.xos", false, at(9, 55)).kind, JoinDirective::Kind::record);
    // After its expiry an intent says nothing, and the published flag follows.
    store.expire(at(10, 15));
    EXPECT_EQ(store.directive("us.zoom.xos", false, at(10, 15)).kind, JoinDirective::Kind::ignore);
    EXPECT_FALSE(store.hasLiveRecordValue().get());
    EXPECT_EQ(store.intent("1")->state, JoinIntent::State::expired);
}

TEST(JoinIntentStore, ReplacesAMeetingsIntentOnANewClickAndWithdrawsWithTheMeeting) {
    Support::MainLoop loop;
    JoinIntentStore store;
    store.registerIntent(intent(JoinIntent::Mode::record, zoomApp(), at(9, 50), meeting("A", ten), "1"),
                         at(9, 50));
    store.registerIntent(intent(JoinIntent::Mode::skip, zoomApp(), at(9, 51), meeting("A", ten), "2"),
                         at(9, 51));
    EXPECT_EQ(store.intent("1")->state, JoinIntent::State::expired);
    store.withdraw({meeting("A", ten).occurrenceKey}, at(9, 52));
    EXPECT_EQ(store.intent("2")->state, JoinIntent::State::expired);
    // Ended intents are dropped an hour after their expiry.
    store.expire(at(11, 31));
    EXPECT_FALSE(store.intent("2"));
}

TEST(JoinIntentStore, SchedulesOneNotRecordingNudgePerRecordIntent) {
    Support::MainLoop loop;
    JoinIntentStore store;
    store.registerIntent(intent(JoinIntent::Mode::record, zoomApp(), at(9, 50), meeting("A", ten, 60), "r"),
                         at(9, 50));
    store.registerIntent(intent(JoinIntent::Mode::skip, browser(), at(9, 50), meeting("B", ten, 60), "s"),
                         at(9, 50));
    EXPECT_EQ(store.nextEvent(at(9, 50)), at(10, 2));
    EXPECT_TRUE(store.nudgesDue(at(10, 1), false).empty());
    EXPECT_TRUE(store.nudgesDue(at(10, 2), true).empty()); // already recording
    auto due = store.nudgesDue(at(10, 2), false);
    ASSERT_EQ(due.size(), 1u);
    EXPECT_EQ(due[0].id, "r");
    store.markNudged("r");
    EXPECT_TRUE(store.nudgesDue(at(10, 3), false).empty());
    EXPECT_EQ(store.nextEvent(at(10, 2)), at(10, 15)); // the expiries remain
}

TEST(JoinIntentStore, CanBeAskedFromOtherThreadsWhileTheMainLoopChangesIt) {
    Support::MainLoop loop;
    JoinIntentStore store;
    std::thread reader([&] {
        for (int i = 0; i < 2000; ++i) {
            (void)store.directive("us.zoom.xos", false, at(9, 55));
        }
    });
    for (int i = 0; i < 200; ++i) {
        store.registerIntent(
            intent(JoinIntent::Mode::record, zoomApp(), at(9, 50), meeting(std::to_string(i), ten)),
            at(9, 50));
    }
    reader.join();
    loop.runUntilIdle();
    EXPECT_EQ(store.snapshot().intents.size(), 200u);
}

TEST(JoinIntentStore, FindsTheMeetingOfACallThatNoIntentNames) {
    std::vector<UI::CalendarMeeting> meetings = {meeting("Z", ten, 30, UI::MeetingService::zoom),
                                                 meeting("T", at(10, 5), 30, UI::MeetingService::teams),
                                                 meeting("L", at(11, 0), 30, UI::MeetingService::zoom)};
    EXPECT_EQ(JoinIntentStore::linkCandidate(meetings, "teams", at(9, 56))->calendarItemID, "T");
    EXPECT_EQ(JoinIntentStore::linkCandidate(meetings, "zoom", at(10, 20))->calendarItemID, "Z");
    EXPECT_FALSE(JoinIntentStore::linkCandidate(meetings, "zoom", at(10, 40)));
    EXPECT_EQ(JoinIntentStore::linkCandidate(meetings, "meet", at(10, 4))->calendarItemID, "T");
    EXPECT_EQ(JoinIntentStore::timeMatch(meetings, at(10, 1))->calendarItemID, "Z");
    EXPECT_EQ(JoinIntentStore::timeMatch(meetings, at(10, 52))->calendarItemID, "L");
    EXPECT_FALSE(JoinIntentStore::timeMatch(meetings, at(10, 40)));
}

TEST(JoinRecordingDecider, LetsTheIntentsOverrideTheAutomaticRecordingPreference) {
    auto skip = intent(JoinIntent::Mode::skip, zoomApp(), at(9, 50));
    auto record = intent(JoinIntent::Mode::record, zoomApp(), at(9, 50));
    using Kind = JoinRecordingDecider::StartDecision::Kind;
    auto left = JoinRecordingDecider::startDecision(JoinDirective::suppress(skip), true);
    EXPECT_EQ(left.kind, Kind::leaveUnrecorded);
    EXPECT_EQ(left.intent, skip);
    EXPECT_EQ(JoinRecordingDecider::startDecision(JoinDirective::suppress(skip), false).records, false);
    auto recorded = JoinRecordingDecider::startDecision(JoinDirective::record(record), false);
    EXPECT_EQ(recorded.kind, Kind::normal);
    EXPECT_TRUE(recorded.records);
    EXPECT_TRUE(JoinRecordingDecider::startDecision(JoinDirective::ignore(), true).records);
    EXPECT_FALSE(JoinRecordingDecider::startDecision(JoinDirective::ignore(), false).records);
}

TEST(JoinRecordingDecider, MovesThroughItsPhasesAndIgnoresStaleStartFailures) {
    JoinRecordingDecider decider;
    using Phase = JoinRecordingDecider::Phase;
    EXPECT_TRUE(decider.mayStart(true, decider.phase));
    EXPECT_FALSE(decider.mayStart(false, decider.phase));
    decider.beginJoinedStart();
    EXPECT_FALSE(decider.mayStopWhenIdle(true, decider.phase));
    decider.endJoinedStart();
    decider.endJoinedStart(); // never below zero
    EXPECT_TRUE(decider.mayStopWhenIdle(true, decider.phase));

    auto first = decider.willStart(at(10, 35));
    EXPECT_EQ(decider.phase, Phase::starting);
    EXPECT_FALSE(decider.mayStart(true, decider.phase));
    EXPECT_FALSE(decider.mayEndOnMicrophoneRelease());
    decider.startFailed(first);
    EXPECT_EQ(decider.phase, Phase::watching);
    EXPECT_FALSE(decider.heldUntil);

    auto second = decider.willStart(std::nullopt);
    decider.startFailed(first); // stale
    EXPECT_EQ(decider.phase, Phase::starting);
    decider.recordingDidStart(second);
    EXPECT_EQ(decider.phase, Phase::recording);
    EXPECT_TRUE(decider.mayEndOnMicrophoneRelease());
    decider.recordingWillEnd();
    EXPECT_EQ(decider.phase, Phase::ending);
    decider.recordingEnded();
    EXPECT_EQ(decider.phase, Phase::watching);
}

TEST(JoinRecordingDecider, HoldsAnExplicitRecordingUntilItsDeadlineOrUntilTheMicrophoneIsSeen) {
    EXPECT_EQ(JoinRecordingDecider::heldRecordingDeadline(at(11, 0), at(10, 50)), at(11, 5));
    EXPECT_EQ(JoinRecordingDecider::heldRecordingDeadline(at(11, 0), at(10, 58)), at(11, 13));

    using Phase = JoinRecordingDecider::Phase;
    using Source = JoinRecordingDecider::MicrophoneSource;
    JoinRecordingDecider decider;
    auto token = decider.willStart(at(11, 5));
    decider.recordingDidStart(token);
    EXPECT_FALSE(decider.heldRecordingIsOver(at(11, 4), Phase::recording));
    EXPECT_TRUE(decider.heldRecordingIsOver(at(11, 5), Phase::recording));
    EXPECT_FALSE(decider.heldRecordingIsOver(at(11, 5), Phase::ending));

    Source zoom{"us.zoom.xos", false};
    EXPECT_FALSE(decider.microphoneActivated(std::nullopt, zoom, Phase::recording));
    EXPECT_FALSE(decider.microphoneActivated(Source{"com.microsoft.teams2", false}, zoom, Phase::watching));
    EXPECT_EQ(decider.microphoneActivated(Source{"com.microsoft.teams2", false}, zoom, Phase::recording),
              JoinRecordingDecider::Activation::anotherCall);
    EXPECT_TRUE(decider.holdsWithoutMicrophone);
    // While held, a browser source counts as the current call, and seeing it ends the hold.
    EXPECT_EQ(decider.microphoneActivated(Source{"org.mozilla.firefox", true}, zoom, Phase::recording),
              JoinRecordingDecider::Activation::currentCall);
    EXPECT_FALSE(decider.holdsWithoutMicrophone);
    EXPECT_FALSE(decider.heldUntil);
    EXPECT_EQ(decider.microphoneActivated(Source{"org.mozilla.firefox", true}, zoom, Phase::recording),
              JoinRecordingDecider::Activation::anotherCall);
    EXPECT_EQ(decider.microphoneActivated(zoom, zoom, Phase::ending),
              JoinRecordingDecider::Activation::anotherCall);
}

#include "UI/calendar/CalendarReminderCoordinator.h"

#include "Fakes/FakeActivityAssertion.h"
#include "Fakes/FakeCalendarStore.h"
#include "Fakes/FakePowerEvents.h"
#include "Fakes/FakeUserNotificationCenter.h"
#include "Fakes/FakeWorkspace.h"
#include "ReminderTestMeetings.h"
#include "Support/Scheduler.h"
#include "UI/calendar/MeetingReminderNotificationContent.h"

#include <gtest/gtest.h>

#include <memory>

using namespace ReminderTest;
using UI::CalendarReminderCoordinator;
using Content = UI::MeetingReminderNotificationContent;

namespace {

/// Records what the coordinator shows, with the virtual time at which it showed it.
struct RecordingPresenter final : UI::MeetingReminderPresenter {
    Support::Scheduler* scheduler = nullptr;
    struct Card {
        std::vector<std::string> ids;
        Support::Date at;
    };
    std::vector<std::pair<std::string, Support::Date>> banners;
    std::vector<Card> cards;
    std::vector<Support::Date> closes;
    std::vector<std::string> shownMeetings;
    CardActionHandler onAction;
    bool cardOpen = false;

    void prepare() override {}
    void showBanner(const UI::MeetingReminderBanner& banner, Support::Date now) override {
        banners.emplace_back(banner.meeting.calendarItemID + ":" + std::string(UI::rawValue(banner.kind)),
                             now);
    }
    void removeBanners(const std::set<std::string>&) override {}
    void showCard(const UI::MeetingReminderCard& card, CardActionHandler handler) override {
        Card shown{{card.main.calendarItemID}, scheduler->now()};
        for (const auto& extra : card.extras) {
            shown.ids.push_back(extra.calendarItemID);
        }
        cards.push_back(shown);
        onAction = std::move(handler);
        cardOpen = true;
    }
    void closeCard() override {
        closes.push_back(scheduler->now());
        cardOpen = false;
        onAction = nullptr;
    }
    void showMeeting(const UI::CalendarMeeting& meeting) override {
        shownMeetings.push_back(meeting.calendarItemID);
    }
};

Platform::CalendarEvent event(const std::string& id, Support::Date start, double minutes = 30) {
    Platform::CalendarEvent e;
    e.calendarItemID = id;
    e.calendarID = "work";
    e.title = "Meeting " + id;
    e.start = start;
    e.end = start + Support::seconds(minutes * 60);
    e.url = "https://zoom.us/j/1234567890";
    return e;
}

struct ReminderMorning : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, at(9, 0)};
    Fakes::FakeCalendarStore store;
    UI::CalendarSource source{store};
    Fakes::FakeUserNotificationCenter center;
    UI::SystemUserNotificationClient client{center};
    UI::MeetingReminderNotifier notifier{client};
    Support::InMemoryUserDefaults defaults;
    RecordingPresenter presenter;
    Fakes::FakeWorkspace workspace;
    UI::JoinIntentStore intents;
    Fakes::FakeActivityAssertion activity;
    Fakes::FakePowerEvents power;
    UI::MeetingReminderResponseRouter router;
    std::unique_ptr<CalendarReminderCoordinator> coordinator;
    std::vector<std::string> recordNowCalls;
    bool recording = false;

    ReminderMorning() {
        presenter.scheduler = &scheduler;
        store.calendarList = {
            {"work", "Work", "s1", "me@example.com", Platform::CalendarSourceType::calDAV, "", true, ""}};
        defaults.setBool("calendar.remindersEnabled", true);
        client.setRouteHandler([this](const UI::NotificationClickRoute& route) {
            if (route.response) {
                router.route(*route.response);
            }
        });
    }
    void start() {
        coordinator = std::make_unique<CalendarReminderCoordinator>(
            CalendarReminderCoordinator::Dependencies{source, notifier, scheduler, defaults, presenter,
                                                      workspace, intents, &activity, &power, &router});
        coordinator->configure(
            [this] {
                return CalendarReminderCoordinator::CallActivity{recording, recording};
            },
            [this](const UI::JoinIntent& intent) { recordNowCalls.push_back(intent.id); },
            [] { return std::set<std::string>{}; });
        coordinator->start();
        scheduler.runReady();
    }
    static std::string key(const std::string& id, Support::Date start) {
        return UI::CalendarMeeting::occurrenceKeyFor(id, start);
    }
    std::vector<Support::Date> bannerTimes(const std::string& label) const {
        std::vector<Support::Date> times;
        for (const auto& [what, when] : presenter.banners) {
            if (what == label) {
                times.push_back(when);
            }
        }
        return times;
    }
    std::vector<Support::Date> cardTimes() const {
        std::vector<Support::Date> times;
        for (const auto& card : presenter.cards) {
            times.push_back(card.at);
        }
        return times;
    }
    void answer(UI::MeetingOverlayAction::Kind kind) {
        ASSERT_TRUE(presenter.onAction);
        presenter.onAction(UI::MeetingOverlayAction{kind, {}});
        scheduler.runReady();
    }
};

using Times = std::vector<Support::Date>;

} // namespace

TEST_F(ReminderMorning, GivesOneHeadsUpAtNineFortyFiveAndOneOverlayAtNineFiftyNine) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 44, 59));
    EXPECT_TRUE(presenter.banners.empty());
    scheduler.advanceTo(at(10, 30));
    EXPECT_EQ(bannerTimes("A:headsUp"), Times{at(9, 45)});
    EXPECT_EQ(center.addCount(Content::reminderIdentifier(key("A", ten))), 1u);
    EXPECT_EQ(cardTimes(), Times{at(9, 59)});
    EXPECT_EQ(presenter.closes, Times{at(10, 10)}); // the cut-off after the start
    ASSERT_FALSE(center.added.empty());
    EXPECT_EQ(center.added[0].content.title, "Meeting A");
    EXPECT_EQ(center.added[0].content.body, "Starts in 15 minutes on Zoom.");
}

TEST_F(ReminderMorning, RepeatsNothingWhenTheAppRestartsWithTheSameDefaults) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 50));
    coordinator.reset();
    start();
    scheduler.advanceTo(at(10, 30));
    EXPECT_EQ(bannerTimes("A:headsUp"), Times{at(9, 45)});
    EXPECT_EQ(center.addCount(Content::reminderIdentifier(key("A", ten))), 1u);
    EXPECT_EQ(cardTimes(), Times{at(9, 59)});
}

TEST_F(ReminderMorning, ACalendarChangeDuringAPassNeverRepeatsTheHeadsUp) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 44, 59));
    store.holdFetches = true;
    scheduler.advanceTo(at(9, 45)); // the heads-up pass waits for the calendar
    store.emitChange();             // a sync lands meanwhile: the debounced replan comes while it waits
    scheduler.advanceTo(at(9, 45, 5));
    store.releaseFetches();
    scheduler.advanceTo(at(9, 50));
    EXPECT_EQ(bannerTimes("A:headsUp"), Times{at(9, 45, 5)});
    EXPECT_EQ(center.addCount(Content::reminderIdentifier(key("A", ten))), 1u);
}

TEST_F(ReminderMorning, ACoordinatorGoneWhileItsPassWaitsForTheCalendarShowsNothingAfterwards) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 44, 59));
    store.holdFetches = true;
    scheduler.advanceTo(at(9, 45));
    coordinator.reset();
    store.releaseFetches();
    scheduler.advanceTo(at(10, 30));
    EXPECT_TRUE(presenter.banners.empty());
    EXPECT_TRUE(presenter.cards.empty());
}

TEST_F(ReminderMorning, BringsASnoozedHeadsUpBackFiveMinutesLaterAndStillShowsTheOverlay) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 45));
    center.respond(Content::reminderIdentifier(key("A", ten)), Content::snoozeAction);
    scheduler.runReady();
    EXPECT_TRUE(center.shown.empty()); // the banner went
    scheduler.advanceTo(at(9, 56));
    EXPECT_EQ(bannerTimes("A:headsUp"), (Times{at(9, 45), at(9, 50)}));
    // Snoozing 3 minutes before the overlay records no snooze: the banner goes, the overlay still comes.
    center.respond(Content::reminderIdentifier(key("A", ten)), Content::snoozeAction);
    scheduler.runReady();
    scheduler.advanceTo(at(10, 5));
    EXPECT_EQ(bannerTimes("A:headsUp").size(), 2u);
    EXPECT_EQ(cardTimes(), Times{at(9, 59)});
}

TEST_F(ReminderMorning, BringsASnoozedCardBackUntilTheCutOffAndNeverAfter) {
    store.eventList = {event("A", ten)};
    start();
    for (auto when : {at(9, 59), at(10, 1), at(10, 3), at(10, 5), at(10, 7), at(10, 9)}) {
        scheduler.advanceTo(when);
        ASSERT_TRUE(presenter.cardOpen) << Support::formatISO8601(when);
        answer(UI::MeetingOverlayAction::Kind::snooze);
        EXPECT_FALSE(presenter.cardOpen);
    }
    scheduler.advanceTo(at(10, 30));
    EXPECT_EQ(cardTimes(), (Times{at(9, 59), at(10, 1), at(10, 3), at(10, 5), at(10, 7), at(10, 9)}));
}

TEST_F(ReminderMorning, RemindsAMovedMeetingAgainAndTakesBackTheOldReminder) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 50));
    store.eventList = {event("A", at(10, 30))};
    store.emitChange();
    scheduler.advance(Support::seconds(2));
    EXPECT_FALSE(center.shown.count(Content::reminderIdentifier(key("A", ten))));
    scheduler.advanceTo(at(11, 0));
    EXPECT_EQ(bannerTimes("A:headsUp"), (Times{at(9, 45), at(10, 15)}));
    EXPECT_EQ(cardTimes(), Times{at(10, 29)});
}

TEST_F(ReminderMorning, RemovesTheNotificationOfAMeetingDeletedAfterItsHeadsUp) {
    store.eventList = {event("A", ten), event("B", at(11, 0))};
    start();
    scheduler.advanceTo(at(9, 46));
    ASSERT_TRUE(center.shown.count(Content::reminderIdentifier(key("A", ten))));
    store.eventList = {event("B", at(11, 0))};
    store.emitChange();
    scheduler.advance(Support::seconds(2));
    EXPECT_FALSE(center.shown.count(Content::reminderIdentifier(key("A", ten))));
    scheduler.advanceTo(at(10, 30));
    EXPECT_TRUE(presenter.cards.empty());
}

TEST_F(ReminderMorning, SharesOneCardBetweenOverlappingMeetingsWithoutCancellingTheirReminders) {
    store.eventList = {event("A", ten), event("B", at(10, 1)), event("C", at(10, 30))};
    start();
    scheduler.advanceTo(at(9, 59));
    ASSERT_EQ(presenter.cards.size(), 1u);
    EXPECT_EQ(presenter.cards[0].ids, (std::vector<std::string>{"A", "B"}));
    // Dismissing A leaves B its card.
    answer(UI::MeetingOverlayAction::Kind::dismiss);
    ASSERT_EQ(presenter.cards.size(), 2u);
    EXPECT_EQ(presenter.cards[1].ids, std::vector<std::string>{"B"});
    scheduler.advanceTo(at(10, 40));
    EXPECT_EQ(bannerTimes("A:headsUp"), Times{at(9, 45)});
    EXPECT_EQ(bannerTimes("B:headsUp"), Times{at(9, 46)});
    EXPECT_EQ(bannerTimes("C:headsUp"), Times{at(10, 15)});
    EXPECT_EQ(presenter.cards.size(), 3u); // and C, back to back with A, gets its own
    EXPECT_EQ(presenter.cards[2].ids, std::vector<std::string>{"C"});
    EXPECT_EQ(presenter.cards[2].at, at(10, 29));
}

TEST_F(ReminderMorning, WakesAtLeastEveryFiveMinutesEvenWhenNothingIsDue) {
    store.eventList = {event("L", at(12, 0))};
    start();
    EXPECT_EQ(coordinator->scheduledWake(), at(9, 5));
    int before = store.fetchCount;
    scheduler.advanceTo(at(10, 0));
    EXPECT_EQ(store.fetchCount - before, 12);
    EXPECT_EQ(scheduler.pendingTimers(), 1u); // one timer between passes, nothing else
}

TEST_F(ReminderMorning, HoldsTheComputerAwakeJustBeforeAReminder) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 43, 29));
    EXPECT_EQ(activity.held(), 0);
    scheduler.advanceTo(at(9, 43, 30));
    EXPECT_EQ(activity.held(), 1);
    scheduler.advanceTo(at(9, 45));
    EXPECT_EQ(activity.held(), 0);
    coordinator->stop();
    EXPECT_EQ(activity.held(), 0);
}

TEST_F(ReminderMorning, PlansAtOnceAfterAWakeOrAClockJump) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 40));
    scheduler.jumpTo(at(9, 45, 30)); // the computer slept; no timer saw the time pass
    power.wake();
    scheduler.runReady();
    EXPECT_EQ(bannerTimes("A:headsUp"), Times{at(9, 45, 30)});
    scheduler.jumpTo(at(9, 59, 10));
    power.clockChange();
    scheduler.runReady();
    EXPECT_EQ(cardTimes(), Times{at(9, 59, 10)});
}

TEST_F(ReminderMorning, JoinsAndRecordsFromTheHeadsUpAndNudgesWhenNothingRecords) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 45));
    center.respond(Content::reminderIdentifier(key("A", ten)), Content::joinRecordAction);
    scheduler.runReady();
    ASSERT_EQ(workspace.openedURLs.size(), 1u);
    EXPECT_EQ(workspace.openedURLs[0], "https://zoom.us/j/1234567890");
    auto armed = intents.snapshot().intents;
    ASSERT_EQ(armed.size(), 1u);
    EXPECT_EQ(armed[0].mode, UI::JoinIntent::Mode::record);
    scheduler.advanceTo(at(10, 1, 59));
    EXPECT_TRUE(presenter.cards.empty()); // joined: no card
    scheduler.advanceTo(at(10, 2));
    auto nudge = Content::notRecordingIdentifier(key("A", ten));
    ASSERT_TRUE(center.shown.count(nudge));
    center.respond(nudge, Content::recordNowAction);
    scheduler.runReady();
    EXPECT_EQ(recordNowCalls, std::vector<std::string>{armed[0].id});
    EXPECT_FALSE(center.shown.count(nudge));
}

TEST_F(ReminderMorning, LeavesAJoinedCallAloneAndUsesUpTheIntentWhenRecordingStarts) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 59));
    answer(UI::MeetingOverlayAction::Kind::joinOnly);
    EXPECT_FALSE(presenter.cardOpen);
    auto directive = intents.directive("org.mozilla.firefox", true, at(10, 0));
    EXPECT_EQ(directive.kind, UI::JoinDirective::Kind::suppress);
    coordinator->detectorDidStartRecording("meet", "org.mozilla.firefox", true);
    EXPECT_EQ(intents.directive("org.mozilla.firefox", true, at(10, 0)).kind,
              UI::JoinDirective::Kind::ignore);
    scheduler.advanceTo(at(10, 5));
    EXPECT_FALSE(center.shown.count(Content::notRecordingIdentifier(key("A", ten)))); // no nudge for "Join"
}

TEST_F(ReminderMorning, TakesEverythingBackWhenRemindersAreTurnedOff) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 59));
    ASSERT_TRUE(presenter.cardOpen);
    defaults.setBool("calendar.remindersEnabled", false);
    scheduler.advance(Support::seconds(2));
    EXPECT_FALSE(presenter.cardOpen);
    EXPECT_TRUE(center.shown.empty());
    EXPECT_TRUE(coordinator->upcoming.get().empty());
}

TEST_F(ReminderMorning, ShowsTheMeetingWhenTheNotificationBodyIsClickedAndIgnoresOtherCategories) {
    store.eventList = {event("A", ten)};
    start();
    scheduler.advanceTo(at(9, 45));
    center.respond(Content::reminderIdentifier(key("A", ten)), Platform::defaultActionIdentifier);
    scheduler.runReady();
    EXPECT_EQ(presenter.shownMeetings, std::vector<std::string>{"A"});
    EXPECT_FALSE(UI::MeetingReminderResponse::parse("dev.tessadine.vellmora.notice", Content::joinAction,
                                                    {{"occurrenceKey", key("A", ten)}}));
}

namespace {

struct LateAnswer {
    UI::MeetingReminderResponse::Action action;
    std::vector<std::string> opened;
    std::vector<std::string> shown;
    std::string logged;
};

struct AfterTheEnd : ReminderMorning, ::testing::WithParamInterface<LateAnswer> {};

const std::string zoomLink = "https://zoom.us/j/1234567890";

} // namespace

TEST_P(AfterTheEnd, AnAnswerThatComesAfterTheMeetingEndedAndAPassRanIsCarriedOut) {
    const auto& expected = GetParam();
    store.eventList = {event("A", ten)}; // 10:00 to 10:30
    start();
    scheduler.advanceTo(at(10, 29, 59));
    int before = store.fetchCount;
    scheduler.advanceTo(at(10, 30, 1)); // the five-minute wake plans once the meeting is over
    ASSERT_GT(store.fetchCount, before);
    Support::LogCapture logs;
    UI::MeetingReminderResponse response;
    response.action = expected.action;
    response.occurrenceKey = key("A", ten);
    router.route(response);
    scheduler.runReady();
    EXPECT_FALSE(logs.contains("no longer in the calendar"));
    EXPECT_EQ(workspace.openedURLs, expected.opened);
    EXPECT_EQ(presenter.shownMeetings, expected.shown);
    EXPECT_TRUE(intents.snapshot().intents.empty()); // nothing waits for a call that is over
    if (!expected.logged.empty()) {
        EXPECT_TRUE(logs.contains(expected.logged));
    }
}

INSTANTIATE_TEST_SUITE_P(
    EachAnswer, AfterTheEnd,
    ::testing::Values(LateAnswer{UI::MeetingReminderResponse::Action::joinAndRecord,
                                 {zoomLink},
                                 {},
                                 "Join & Record after the meeting ended: opening the link only"},
                      LateAnswer{UI::MeetingReminderResponse::Action::join, {zoomLink}, {}, ""},
                      LateAnswer{UI::MeetingReminderResponse::Action::open, {}, {"A"}, ""},
                      LateAnswer{
                          UI::MeetingReminderResponse::Action::snooze, {}, {}, "cannot be snoozed any more"}),
    [](const auto& info) { return std::string(UI::rawValue(info.param.action)); });

TEST_F(ReminderMorning, PublishesTheMeetingsOfTheWholeWindowAndIgnoresAnAnswerForOneRemovedFromTheCalendar) {
    store.eventList = {event("A", ten), event("B", at(11, 0))};
    start();
    scheduler.advanceTo(at(10, 30, 1));
    ASSERT_EQ(coordinator->upcoming.get().size(), 2u); // A ended but is still in the calendar
    store.eventList = {event("B", at(11, 0))};
    store.emitChange();
    scheduler.advance(Support::seconds(2));
    EXPECT_EQ(coordinator->upcoming.get().size(), 1u);
    Support::LogCapture logs;
    UI::MeetingReminderResponse response;
    response.action = UI::MeetingReminderResponse::Action::join;
    response.occurrenceKey = key("A", ten);
    router.route(response);
    scheduler.runReady();
    EXPECT_TRUE(workspace.openedURLs.empty());
    EXPECT_TRUE(logs.contains("the meeting is no longer in the calendar"));
}

#include "UI/recording/AutoRecordNotifier.h"
#include "UI/recording/NotificationClickRoute.h"
#include "UI/recording/RecordingPermissionNotifier.h"
#include "UI/recording/SystemUserNotificationClient.h"

#include "Fakes/FakeUserNotificationCenter.h"
#include "Support/Log.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

using UI::NotificationClickRoute;
using Kind = NotificationClickRoute::Kind;

TEST(NotificationClickRoute, RoutesEachCategoryToWhatTheClickMeans) {
    const std::map<std::string, std::string> reminderInfo = {{"occurrenceKey", "A|1795860000"},
                                                             {"stage", "0"}};
    struct Case {
        const char* category;
        const char* action;
        std::map<std::string, std::string> info;
        Kind expected;
    } cases[] = {
        {"dev.tessadine.vellmora.meetingReminder", "default", reminderInfo, Kind::meetingReminder},
        {"dev.tessadine.vellmora.meetingReminder", "default", {}, Kind::none},
        {"dev.tessadine.vellmora.meetingReminder.busy",
         "dev.tessadine.vellmora.meetingReminder.join",
         {},
         Kind::none},
        {"dev.tessadine.vellmora.liveRecap.nameMention", "default", {}, Kind::liveRecapNameMention},
        {"dev.tessadine.vellmora.recordingPermission", "default", {}, Kind::recordingPermission},
        {"dev.tessadine.vellmora.recordingPermission", "other", {}, Kind::none},
        {"dev.tessadine.vellmora.autoRecordStarted", "default", {}, Kind::openApp},
        {"", "default", {}, Kind::openApp},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NotificationClickRoute::route(c.category, c.action, c.info).kind, c.expected)
            << c.category << " " << c.action;
    }
}

TEST(MeetingReminderResponse, ParsesTheActionKindStageAndIntentOfAnAnswer) {
    using R = UI::MeetingReminderResponse;
    std::map<std::string, std::string> info = {{"occurrenceKey", "A|1"},
                                               {"stage", "1"},
                                               {"kind", "2"},
                                               {"intentID", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"}};
    auto parsed = R::parse("dev.tessadine.vellmora.meetingReminder",
                           "dev.tessadine.vellmora.meetingReminder.recordNow", info);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->action, R::Action::recordNow);
    EXPECT_EQ(parsed->stage, UI::CalendarReminderStage::overlay);
    EXPECT_EQ(parsed->kind, UI::MeetingReminderBanner::Kind::notRecordingYet); // the user info overrides
    EXPECT_EQ(parsed->intentID, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");

    auto busy = R::parse("dev.tessadine.vellmora.meetingReminder.busy", "whatever",
                         {{"occurrenceKey", "A|1"}, {"kind", "7"}, {"stage", "2"}, {"intentID", "nope"}});
    ASSERT_TRUE(busy);
    EXPECT_EQ(busy->action, R::Action::open);
    EXPECT_EQ(busy->kind, UI::MeetingReminderBanner::Kind::busy);
    EXPECT_FALSE(busy->stage);
    EXPECT_FALSE(busy->intentID);
    EXPECT_FALSE(R::parse("dev.tessadine.vellmora.notice", "default", {{"occurrenceKey", "A|1"}}));
    EXPECT_TRUE(R::isCategory("dev.tessadine.vellmora.meetingReminder.notRecording"));
    EXPECT_FALSE(R::isCategory("dev.tessadine.vellmora.meetingReminderish"));
}

struct NotificationClientTest : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1795860000)};
    Fakes::FakeUserNotificationCenter center;
    UI::SystemUserNotificationClient client{center};
    template <typename T> T wait(Support::Task<T> task) {
        scheduler.runReady();
        EXPECT_TRUE(task.isDone());
        return task.get();
    }
};

TEST_F(NotificationClientTest, HandsClicksToTheRouteHandlerOnALaterTurnButNotClosedNotifications) {
    std::vector<NotificationClickRoute> routes;
    client.setRouteHandler([&](const NotificationClickRoute& route) { routes.push_back(route); });
    UI::AutoRecordNotifier notifier(client);
    wait(notifier.announceRecordingStarted("zoom.us"));
    center.respond("dev.tessadine.vellmora.autoRecordStarted", Platform::defaultActionIdentifier);
    EXPECT_TRUE(routes.empty()); // not inline
    scheduler.runReady();
    ASSERT_EQ(routes.size(), 1u);
    EXPECT_EQ(routes[0].kind, Kind::openApp);
    center.respond("dev.tessadine.vellmora.autoRecordStarted", Platform::dismissActionIdentifier);
    scheduler.runReady();
    EXPECT_EQ(routes.size(), 1u);
}

TEST_F(NotificationClientTest, WordsTheAutomaticRecordingAndNoticeNotifications) {
    UI::AutoRecordNotifier notifier(client);
    wait(notifier.announceRecordingStarted(" "));
    wait(notifier.announce("Saved."));
    ASSERT_EQ(center.added.size(), 2u);
    EXPECT_EQ(center.added[0].content.title, "Vellmora started recording");
    EXPECT_EQ(center.added[0].content.body,
              "A meeting app is using your microphone. You can stop the recording from the menu bar.");
    EXPECT_EQ(center.added[1].identifier, "dev.tessadine.vellmora.notice");
    EXPECT_EQ(center.added[1].content.title, "Vellmora");
    EXPECT_EQ(center.added[1].content.body, "Saved.");
}

TEST_F(NotificationClientTest, LogsAndSwallowsFailuresOfTheNotificationService) {
    Support::LogCapture logs;
    center.authorizationThrows = true;
    EXPECT_FALSE(wait(client.requestAuthorization()));
    EXPECT_TRUE(
        logs.contains("Couldn't ask for notification permission: the notification service is not running"));
    center.addFails = true;
    wait(client.deliver(UI::LocalNotificationRequest{"x", "t", "b", std::nullopt, {}}));
    EXPECT_TRUE(logs.contains("Couldn't show the recording notification: no notification server"));
    center.authorizationThrows = false;
    center.authorized = false;
    UI::AutoRecordNotifier notifier(client);
    EXPECT_FALSE(wait(notifier.requestPermissionAndWait()));
    EXPECT_TRUE(logs.contains("Notifications for automatic recordings: not allowed"));
}

TEST_F(NotificationClientTest, ThrottlesPermissionNoticesPerPermissionAndFallsBackToAnAlert) {
    using N = UI::RecordingPermissionNotifier;
    int alerts = 0;
    bool alertAvailable = true;
    N notifier(
        client, scheduler,
        [](std::exception_ptr error) -> std::optional<N::MissingPermission> {
            try {
                std::rethrow_exception(error);
            } catch (const std::invalid_argument&) {
                return N::MissingPermission::microphone;
            } catch (...) {
                return std::nullopt;
            }
        },
        [&](const UI::LocalNotificationRequest&) {
            alerts += alertAvailable ? 1 : 0;
            return alertAvailable;
        });
    auto micFailure = std::make_exception_ptr(std::invalid_argument("mic"));
    EXPECT_EQ(wait(notifier.recordingStartFailed(std::make_exception_ptr(std::runtime_error("disk")))),
              N::Outcome::notAPermissionFailure);
    EXPECT_EQ(wait(notifier.recordingStartFailed(micFailure)), N::Outcome::notified);
    EXPECT_EQ(center.added.back().identifier, "dev.tessadine.vellmora.recordingPermissionNotice");
    EXPECT_EQ(center.added.back().content.categoryIdentifier, "dev.tessadine.vellmora.recordingPermission");
    EXPECT_EQ(wait(notifier.recordingStartFailed(micFailure)), N::Outcome::throttled);
    EXPECT_EQ(wait(notifier.announce(N::MissingPermission::screenRecording)), N::Outcome::notified);
    scheduler.advance(Support::seconds(600));
    center.authorized = false;
    EXPECT_EQ(wait(notifier.recordingStartFailed(micFailure)), N::Outcome::alertShown);
    EXPECT_EQ(alerts, 1);
    alertAvailable = false;
    EXPECT_EQ(wait(notifier.announce(N::MissingPermission::calendar)), N::Outcome::unannounced);
    EXPECT_EQ(center.added.size(), 2u);
}

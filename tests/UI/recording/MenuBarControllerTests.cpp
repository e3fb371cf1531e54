#include "UI/recording/MenuBarController.h"
#include "UI/recording/MenuTextRenderer.h"
#include "UI/recording/ProcessingNotifications.h"
#include "UI/recording/UpNextMenuItems.h"
#include "UI/updates/UpdateCheckCoordinator.h"

#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeStatusItem.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using UI::MenuBarController;
using UI::RecordingPhase;
using Availability = MenuBarController::RecordingAvailability;

namespace {

// 10:00 in Berlin on a Sunday.
const Support::Date morning = *Support::parseISO8601("2026-11-22T09:00:00Z");
Support::Duration minutes(double m) {
    return Support::seconds(m * 60);
}

UI::CalendarMeeting meeting(std::string title, Support::Date start, Support::Date end,
                            UI::MeetingService service = UI::MeetingService::zoom) {
    UI::MeetingLink link{service, *Support::Url::parse("https://example.zoom.us/j/1"), std::nullopt};
    return UI::CalendarMeeting{
        .occurrenceKey = title + "|" + std::to_string(static_cast<long long>(Support::unixSeconds(start))),
        .calendarItemID = title,
        .externalID = std::nullopt,
        .calendarID = "work",
        .title = title,
        .start = start,
        .end = end,
        .link = link,
        .notesExcerpt = std::nullopt,
        .attendees = {},
        .organizer = std::nullopt,
    };
}

std::vector<std::string> titles(const Platform::Menu& menu) {
    std::vector<std::string> out;
    for (const auto& item : menu.items) {
        switch (item.kind) {
        case Platform::MenuItem::Kind::separator:
            out.emplace_back("---");
            break;
        case Platform::MenuItem::Kind::header:
            out.push_back("[header] " + item.header->status);
            break;
        case Platform::MenuItem::Kind::footer:
            out.emplace_back("[footer]");
            break;
        case Platform::MenuItem::Kind::action:
            out.push_back(item.title);
            break;
        }
    }
    return out;
}

struct RecordingDelegate : UI::MenuBarControllerDelegate {
    std::vector<std::string> calls;
    void startRecording() override { calls.emplace_back("start"); }
    void stopRecording() override { calls.emplace_back("stop"); }
    void insertMarker() override { calls.emplace_back("marker"); }
    void openLibrary() override { calls.emplace_back("library"); }
    void openActionItems() override { calls.emplace_back("actionItems"); }
    void toggleAIChat() override { calls.emplace_back("chat"); }
    void joinMeeting(const UI::CalendarMeeting& m, bool record) override {
        calls.push_back("join " + m.title + (record ? " +record" : " only"));
    }
    void checkForUpdates() override { calls.emplace_back("check"); }
    void restartToFinishUpdating() override { calls.emplace_back("restart"); }
    void showWhatsNew() override { calls.emplace_back("whatsNew"); }
    void quit() override { calls.emplace_back("quit"); }
};

class MenuBarControllerTest : public testing::Test {
protected:
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, morning};
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    Fakes::FakeStatusItem statusItem;
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
    MenuBarController controller{
        {statusItem, scheduler, center, defaults, "Europe/Berlin", "en_US", "Vellmora 1.0"}};

    void SetUp() override {
        controller.setDelegate(delegate);
        controller.setupMenuBar();
    }
};

TEST_F(MenuBarControllerTest, BuildsTheIdleMenuInItsFixedOrder) {
    controller.setRecordingAvailability(Availability::ready());
    EXPECT_EQ(titles(statusItem.menu),
              (std::vector<std::string>{"[header] Ready", "---", "Start Recording", "---", "Open Library",
                                        "Action Items...", "---", "AI Chat", "Set Up Vellmora...",
                                        "What's New...", "Report a Problem...", "---", "Settings", "---",
                                        "Quit Vellmora", "---", "[footer]"}));
    auto start = *statusItem.item("Start Recording");
    EXPECT_EQ(start.keyEquivalent, "r");
    EXPECT_EQ(start.symbolName, "record.circle");
    EXPECT_TRUE(start.isEnabled);
    EXPECT_EQ(statusItem.item("Settings")->keyEquivalent, ",");
    EXPECT_EQ(statusItem.item("Quit Vellmora")->symbolName, "power");
    EXPECT_EQ(statusItem.icon,
              (Platform::StatusIcon{"waveform.circle", true, Platform::MenuColor::label, "Vellmora"}));
}

TEST_F(MenuBarControllerTest, ExplainsWhyRecordingCannotStartAndRefusesToStart) {
    EXPECT_EQ(titles(statusItem.menu)[0], "[header] Starting...");
    EXPECT_FALSE(statusItem.item("Start Recording")->isEnabled);
    EXPECT_TRUE(statusItem.item("Vellmora is still starting up. Try again in a moment.").has_value());

    controller.setRecordingAvailability(Availability::unavailable("Microphone access is off."));
    EXPECT_EQ(titles(statusItem.menu)[0], "[header] Can't record");
    auto notice = statusItem.item("Microphone access is off.");
    ASSERT_TRUE(notice);
    EXPECT_FALSE(notice->isEnabled);
    controller.startRecording();
    EXPECT_TRUE(delegate->calls.empty());

    controller.setRecordingAvailability(Availability::ready());
    EXPECT_TRUE(statusItem.activate("Start Recording"));
    EXPECT_EQ(delegate->calls, std::vector<std::string>{"start"});
}

TEST_F(MenuBarControllerTest, ShowsTheRecordingEntriesAndTimerWhileRecording) {
    controller.setRecordingAvailability(Availability::ready());
    controller.setRecording(true);
    EXPECT_EQ(controller.phase(), RecordingPhase::recording(morning));
    EXPECT_EQ(titles(statusItem.menu)[2], "Stop Recording");
    EXPECT_EQ(statusItem.item("Stop Recording")->keyEquivalent, "s");
    EXPECT_EQ(statusItem.item("Mark Moment")->keyEquivalent, "m");
    EXPECT_EQ(statusItem.icon,
              (Platform::StatusIcon{"waveform.circle.fill", false, Platform::MenuColor::red, "Vellmora"}));
    auto header = *statusItem.menu.items[0].header;
    EXPECT_EQ(header.status, "Recording...");
    EXPECT_EQ(header.duration, "0:00");
    EXPECT_EQ(header.statusColor, Platform::MenuColor::red);

    const int before = statusItem.menuUpdates;
    scheduler.advance(Support::seconds(65));
    EXPECT_EQ(statusItem.menuUpdates - before, 13) << "one rebuild every 5 seconds";
    EXPECT_EQ(statusItem.menu.items[0].header->duration, "1:05");

    EXPECT_TRUE(statusItem.activate("Mark Moment"));
    EXPECT_TRUE(statusItem.activate("Stop Recording"));
    EXPECT_EQ(delegate->calls, (std::vector<std::string>{"marker", "stop"}));

    controller.setPhase(RecordingPhase::saving(scheduler.now()));
    EXPECT_FALSE(controller.hasRecordingTimer());
    auto saving = *statusItem.item("Saving…");
    EXPECT_FALSE(saving.isEnabled);
    EXPECT_EQ(saving.keyEquivalent, "");
    EXPECT_FALSE(statusItem.item("Mark Moment").has_value());
    EXPECT_EQ(statusItem.icon.symbolName, "gearshape.circle.fill");
    const int afterStop = statusItem.menuUpdates;
    scheduler.advance(Support::seconds(60));
    EXPECT_EQ(statusItem.menuUpdates, afterStop) << "no timer once recording ended";

    controller.setRecording(false);
    EXPECT_EQ(controller.phase(), RecordingPhase::idle());
}

TEST_F(MenuBarControllerTest, ShowsACaptureWarningUnderStopOnlyWhileRecording) {
    controller.setRecordingAvailability(Availability::ready());
    controller.setRecording(true);
    const std::string warning = "Vellmora hears nothing from the call: check the output device";
    controller.setCaptureWarning(warning);
    auto shown = statusItem.item(warning);
    ASSERT_TRUE(shown);
    EXPECT_FALSE(shown->isEnabled);
    controller.setCaptureWarning(std::nullopt);
    EXPECT_FALSE(statusItem.item(warning));
    controller.setCaptureWarning(warning);
    controller.setRecording(false);
    EXPECT_FALSE(statusItem.item(warning)) << "shown while idle";
}

TEST_F(MenuBarControllerTest, DefersRebuildsWhileTheMenuIsOpen) {
    controller.setRecordingAvailability(Availability::ready());
    statusItem.open();
    EXPECT_TRUE(controller.isMenuOpen());
    const auto shown = statusItem.menu;
    controller.setMonitoring(true, "Zoom");
    EXPECT_TRUE(controller.needsMenuRebuild());
    EXPECT_EQ(statusItem.menu, shown);
    statusItem.close();
    EXPECT_FALSE(controller.needsMenuRebuild());
    EXPECT_EQ(statusItem.menu.items[0].header->status, "Monitoring Zoom");
    EXPECT_EQ(statusItem.menu.items[0].header->statusColor, Platform::MenuColor::orange);
    EXPECT_EQ(statusItem.icon.symbolName, "waveform.badge.magnifyingglass");
}

TEST_F(MenuBarControllerTest, ListsUpNextOnlyWithRemindersOnAndTheCoordinatorRunning) {
    controller.setRecordingAvailability(Availability::ready());
    controller.setUpcomingMeetings({
        meeting("Design review", morning + minutes(30), morning + minutes(90)),
        meeting("Overnight incident", morning - minutes(60 * 20), morning + minutes(60),
                UI::MeetingService::teams),
        meeting("Tomorrow standup", morning + minutes(60 * 24), morning + minutes(60 * 24 + 15)),
    });
    EXPECT_FALSE(statusItem.item("Up Next").has_value());
    defaults.setBool("calendar.remindersEnabled", true);
    EXPECT_FALSE(statusItem.item("Up Next").has_value());
    controller.setReminderCoordinatorRunning(true);
    auto all = titles(statusItem.menu);
    auto upNext = std::find(all.begin(), all.end(), "Up Next");
    ASSERT_NE(upNext, all.end());
    EXPECT_EQ(std::vector<std::string>(upNext, upNext + 6),
              (std::vector<std::string>{"Up Next", "Now Overnight incident · Teams",
                                        "Now Overnight incident · Teams — Join only",
                                        "10:30\u202fAM Design review · Zoom",
                                        "10:30\u202fAM Design review · Zoom — Join only", "---"}));
    auto first = *statusItem.item("Now Overnight incident · Teams");
    EXPECT_EQ(first.symbolName, "record.circle");
    EXPECT_EQ(first.toolTip, "Opens the meeting and records it.");
    EXPECT_FALSE(first.isAlternate);
    auto alternate = *statusItem.item("Now Overnight incident · Teams — Join only");
    EXPECT_TRUE(alternate.isAlternate);
    EXPECT_EQ(alternate.symbolName, "video");

    EXPECT_TRUE(statusItem.activate("10:30\u202fAM Design review · Zoom — Join only"));
    EXPECT_TRUE(statusItem.activate("Now Overnight incident · Teams"));
    EXPECT_EQ(delegate->calls,
              (std::vector<std::string>{"join Design review only", "join Overnight incident +record"}));

    defaults.setBool("autoRecord", false);
    auto swapped = *statusItem.item("10:30\u202fAM Design review · Zoom");
    EXPECT_EQ(swapped.symbolName, "video");
    EXPECT_EQ(swapped.toolTip, "Opens the meeting without recording it.");
    EXPECT_TRUE(statusItem.item("10:30\u202fAM Design review · Zoom — Join & Record")->isAlternate);
}

TEST_F(MenuBarControllerTest, RefreshesUpNextLabelsWhenTheMenuOpens) {
    defaults.setBool("calendar.remindersEnabled", true);
    controller.setReminderCoordinatorRunning(true);
    controller.setUpcomingMeetings({meeting("Sync", morning + minutes(10), morning + minutes(40))});
    EXPECT_TRUE(statusItem.item("10:10\u202fAM Sync · Zoom").has_value());
    scheduler.jumpTo(morning + minutes(10));
    statusItem.open();
    EXPECT_TRUE(statusItem.item("Now Sync · Zoom").has_value()) << "'Now' as soon as the meeting began";
    EXPECT_TRUE(statusItem.item("Now Sync · Zoom — Join only").has_value());
}

TEST_F(MenuBarControllerTest, ShowsProcessingFromNotificationsInTheHeaderAndIcon) {
    namespace N = UI::ProcessingNotifications;
    N::postProcessingStarted(center, 7, "transcription", false);
    N::postProcessingStarted(center, 7, "summary", false);
    EXPECT_EQ(statusItem.menu.items[0].header->processing, "Transcribing, Summarizing...");
    EXPECT_EQ(statusItem.icon,
              (Platform::StatusIcon{"gearshape.circle.fill", false, Platform::MenuColor::blue, "Vellmora"}));
    N::postSpeechModelDownloadProgress(center, 0.42);
    EXPECT_EQ(statusItem.menu.items[0].header->processing, "Speech models 42%, Summarizing...");
    N::postProcessingCompleted(center, 7, "summary");
    N::postProcessingCompleted(center, 7, "transcription");
    EXPECT_FALSE(statusItem.menu.items[0].header->processing.has_value());
    EXPECT_EQ(statusItem.icon.symbolName, "waveform.circle");
    N::postQueueChanged(center, 3, 2);
    EXPECT_EQ(controller.queuedTranscriptions(), 3);
    EXPECT_EQ(controller.queuedAIGenerations(), 2);
}

TEST_F(MenuBarControllerTest, PostsWindowRequestsAndMarksSetupBegun) {
    std::vector<std::string> posted;
    Support::SubscriptionBag subs;
    for (const char* name : {MenuBarController::openSetupWindowNotification,
                             MenuBarController::openReportProblemWindowNotification,
                             MenuBarController::openSettingsWindowNotification}) {
        subs += center.observe(name, [&](const Support::Notification& n) { posted.push_back(n.name); });
    }
    EXPECT_TRUE(statusItem.activate("Set Up Vellmora..."));
    EXPECT_TRUE(statusItem.activate("Report a Problem..."));
    EXPECT_TRUE(statusItem.activate("Settings"));
    EXPECT_EQ(posted, (std::vector<std::string>{"dev.tessadine.vellmora.openSetupWindow",
                                                "dev.tessadine.vellmora.openReportProblemWindow",
                                                "dev.tessadine.vellmora.openSettingsWindow"}));
    EXPECT_EQ(defaults.boolean("setup.hasBegun"), true);
}

TEST_F(MenuBarControllerTest, OffersUpdatesFromTheUpdateCoordinator) {
    Fakes::FakeHttpClient http;
    http.enqueue(Fakes::FakeHttpClient::Answer::ok(
        R"({"resultCount":1,"results":[{"version":"2.0","currentVersionReleaseDate":"2026-11-01T00:00:00Z"}]})"));
    UI::AppStoreLookupClient lookup(http, {"https://store.example/lookup", "1"});
    UI::UpdateCheckCoordinator updates(lookup, scheduler, defaults, "1.0",
                                       UI::UpdateCheckConfiguration::standard, std::nullopt,
                                       [] { return 0.0; });
    controller.attachUpdateCoordinator(updates);
    EXPECT_TRUE(statusItem.item("Check for Updates...").has_value());
    updates.start();
    scheduler.advance(Support::seconds(20));
    auto offer = statusItem.item("Update Available: Vellmora 2.0");
    ASSERT_TRUE(offer);
    EXPECT_EQ(offer->symbolName, "arrow.down.circle.fill");
    std::vector<std::string> presented;
    auto sub = updates.presentRequested.connect(
        [&](const UI::AppStoreRelease& r) { presented.push_back(r.version); });
    EXPECT_TRUE(statusItem.activate("Update Available: Vellmora 2.0"));
    EXPECT_EQ(presented, std::vector<std::string>{"2.0"});
    EXPECT_TRUE(statusItem.activate("Check for Updates..."));
    EXPECT_EQ(delegate->calls, std::vector<std::string>{"check"});
}

TEST_F(MenuBarControllerTest, KeepsAIChatDisabledWhenAIIsSwitchedOff) {
    defaults.setBool("ai.featuresEnabled", false);
    EXPECT_FALSE(statusItem.item("AI Chat")->isEnabled);
    statusItem.open();
    EXPECT_FALSE(statusItem.item("AI Chat")->isEnabled);
    EXPECT_FALSE(statusItem.activate("AI Chat"));
}

TEST_F(MenuBarControllerTest, RendersTheMenuAsText) {
    controller.setRecordingAvailability(Availability::ready());
    const auto text = UI::MenuTextRenderer::render(statusItem.menu, 30);
    EXPECT_NE(text.find("Vellmora\n"), std::string::npos);
    EXPECT_NE(text.find("Start Recording             ⌘R\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Settings                    ⌘,\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Vellmora 1.0\n"), std::string::npos);
    EXPECT_EQ(UI::MenuTextRenderer::describeIcon(controller.statusIcon()), "[waveform.circle, template]");
}

// --- Pure decisions -------------------------------------------------------------------------------------

TEST(MenuBarControllerRules, RecordingMenuControlByPhase) {
    using C = MenuBarController::RecordingMenuControl;
    EXPECT_EQ(MenuBarController::recordingMenuControl(RecordingPhase::recording(morning)),
              (C{"Stop Recording", "stop.circle.fill", true, true}));
    EXPECT_EQ(MenuBarController::recordingMenuControl(RecordingPhase::starting()),
              (C{"Stop Recording", "stop.circle.fill", true, false}));
    EXPECT_EQ(MenuBarController::recordingMenuControl(RecordingPhase::saving(morning)),
              (C{"Saving…", "hourglass", false, false}));
    EXPECT_EQ(MenuBarController::recordingMenuControl(RecordingPhase::idle()),
              (C{"Stop Recording", "stop.circle.fill", false, false}));
}

TEST(MenuBarControllerRules, HeaderStatusByPhaseNeverShowsANegativeDuration) {
    using S = MenuBarController::RecordingHeaderStatus;
    EXPECT_EQ(MenuBarController::recordingHeaderStatus(RecordingPhase::recording(morning),
                                                       morning + Support::seconds(3725)),
              (S{"Recording...", "1:02:05", true}));
    EXPECT_EQ(MenuBarController::recordingHeaderStatus(RecordingPhase::recording(morning),
                                                       morning - Support::seconds(30)),
              (S{"Recording...", "0:00", true}));
    EXPECT_EQ(MenuBarController::recordingHeaderStatus(RecordingPhase::saving(morning), morning),
              (S{"Saving recording…", std::nullopt, false}));
    EXPECT_EQ(MenuBarController::recordingHeaderStatus(RecordingPhase::starting(), morning),
              (S{"Starting recording…", std::nullopt, false}));
    EXPECT_EQ(MenuBarController::recordingHeaderStatus(RecordingPhase::idle(), morning), std::nullopt);
    auto monitoring = MenuBarController::header(RecordingPhase::idle(), morning, true, std::nullopt,
                                                Availability::ready(), std::nullopt);
    EXPECT_EQ(monitoring.status, "Monitoring...");
}

TEST(MenuBarControllerRules, ProcessingTextJoinsPartsInTheirFixedOrder) {
    using Set = std::set<std::string>;
    auto text = [](Set active, std::optional<double> download = std::nullopt,
                   std::optional<double> indexing = std::nullopt) {
        return MenuBarController::processingStatusText(active, download, indexing);
    };
    EXPECT_EQ(text({}), std::nullopt);
    EXPECT_EQ(text({"slides"}), std::nullopt);
    EXPECT_EQ(text({"summary"}), "Summarizing...");
    EXPECT_EQ(text({"transcription"}, 1.5), MenuBarController::speechModelDownloadText(1.5));
    EXPECT_EQ(text({"transcription"}, 1.5), "Downloading speech models 100%");
    EXPECT_EQ(text({"transcription", "summary"}, 0.42), "Speech models 42%, Summarizing...");
    EXPECT_EQ(text({"transcription", "summary"}, -0.2), "Speech models 0%, Summarizing...");
    EXPECT_EQ(text({"video", "actionItems", "summary", "transcription", "indexing"}, std::nullopt, 0.5),
              "Transcribing, Summarizing, Extracting actions, Preparing video, Indexing video 50%...");
    EXPECT_EQ(text({"indexing"}, std::nullopt, 0.29), "Indexing video 29%");
    EXPECT_EQ(text({"indexing"}), "Indexing video");
    EXPECT_EQ(MenuBarController::videoIndexingText(std::numeric_limits<double>::infinity()),
              "Indexing video");
    EXPECT_EQ(MenuBarController::videoIndexingText(std::nan("")), "Indexing video");
}

TEST(MenuBarControllerRules, SupportItemsPutUpdateEntriesFirstWhenTheCheckIsAvailable) {
    using K = MenuBarController::SupportItem::Kind;
    auto kinds = [](bool available, std::optional<std::string> offered, bool restart) {
        std::vector<K> out;
        for (auto& i : MenuBarController::supportItems(available, offered, restart)) {
            out.push_back(i.kind);
        }
        return out;
    };
    EXPECT_EQ(kinds(false, "2.0", true), (std::vector<K>{K::whatsNew, K::reportProblem}));
    EXPECT_EQ(kinds(true, std::nullopt, false),
              (std::vector<K>{K::checkForUpdates, K::whatsNew, K::reportProblem}));
    EXPECT_EQ(kinds(true, "2.0", true), (std::vector<K>{K::restartToFinishUpdating, K::updateAvailable,
                                                        K::checkForUpdates, K::whatsNew, K::reportProblem}));
    EXPECT_EQ(MenuBarController::supportItems(true, "2.0", false)[0].version, "2.0");
}

TEST(MenuBarControllerRules, StatusIconFirstMatchWins) {
    EXPECT_EQ(MenuBarController::statusIcon(RecordingPhase::recording(morning), true, true).symbolName,
              "waveform.circle.fill");
    EXPECT_EQ(MenuBarController::statusIcon(RecordingPhase::idle(), true, true).symbolName,
              "gearshape.circle.fill");
    EXPECT_EQ(MenuBarController::statusIcon(RecordingPhase::saving(morning), false, true).symbolName,
              "gearshape.circle.fill");
    EXPECT_EQ(MenuBarController::statusIcon(RecordingPhase::starting(), false, true).symbolName,
              "waveform.badge.magnifyingglass");
    EXPECT_TRUE(MenuBarController::statusIcon(RecordingPhase::starting(), false, false).isTemplate);
}

TEST(UpNextMenuItems, KeepsTodaysUnfinishedMeetingsSortedAndAtMostThree) {
    const std::string tz = "Europe/Berlin";
    std::vector<UI::CalendarMeeting> meetings = {
        meeting("Late", morning + minutes(60 * 12), morning + minutes(60 * 13)), // 22:00 today
        meeting("Ended", morning - minutes(60), morning - minutes(30)),
        meeting("Started yesterday", morning - minutes(60 * 20), morning + minutes(60)),
        meeting("Soon", morning + minutes(5), morning + minutes(35)),
        meeting("Tomorrow", morning + minutes(60 * 15), morning + minutes(60 * 16)), // 01:00 tomorrow
        meeting("Lunch", morning + minutes(60 * 3), morning + minutes(60 * 4)),
    };
    auto items = UI::UpNextMenuItems::items(meetings, morning, tz, "en_US");
    std::vector<std::string> kept;
    for (auto& i : items) {
        kept.push_back(i.meeting.title);
    }
    EXPECT_EQ(kept, (std::vector<std::string>{"Started yesterday", "Soon", "Lunch"}));
    EXPECT_TRUE(items[0].isInProgress(morning));
    EXPECT_FALSE(items[1].isInProgress(morning));
}

TEST(UpNextMenuItems, LabelsCutLongTitlesAndNameTheService) {
    const auto at = morning + minutes(30);
    auto label = [&](const std::string& title, UI::MeetingService s = UI::MeetingService::meet,
                     const std::string& locale = "en_US") {
        return UI::UpNextMenuItems::label(meeting(title, at, at + minutes(30), s), morning, "Europe/Berlin",
                                          locale);
    };
    const std::string forty(40, 'x');
    const std::string fortyOne = "A title that is exactly forty-one chars.!";
    ASSERT_EQ(fortyOne.size(), 41u);
    EXPECT_EQ(label(forty), "10:30\u202fAM " + forty + " · Google Meet");
    EXPECT_EQ(label(fortyOne), "10:30\u202fAM A title that is exactly forty-one chars… · Google Meet");
    EXPECT_EQ(label("A title that is exactly thirty-eight c h   more"),
              "10:30\u202fAM A title that is exactly thirty-eight c… · Google Meet")
        << "trailing spaces of the cut are trimmed";
    EXPECT_EQ(label("  \n "), "10:30\u202fAM Untitled meeting · Google Meet");
    EXPECT_EQ(label("Standup", UI::MeetingService::teams, "de_DE"), "10:30 Standup · Teams");
}

} // namespace

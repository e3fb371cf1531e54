#include "App/host/CallRecorder.h"

#include "AudioEngine/SimulatedCapture.h"
#include "Support/MainLoop.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/ReminderTestMeetings.h"
#include "UI/recording/RecordingRequestGate.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace ReminderTest;
using UI::JoinIntent;

namespace {

UI::JoinTarget zoomApp() {
    return UI::JoinTarget{*Support::Url::parse("zoommtg://zoom.us/join?confno=1"), "zoom", "us.zoom.xos",
                          true};
}

struct CallRecorderTest : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, at(9, 58)};
    UI::RecordingState state{[this] { return scheduler.now(); }};
    UI::RecordingRequestGate gate;
    AudioEngine::SimulatedCapture capture{scheduler};
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("vellmora-calls-" + std::to_string(::getpid()));
    App::RecordingController controller{state, gate, capture, scheduler, folder};
    UI::JoinIntentStore intents;
    Support::InMemoryUserDefaults defaults;
    std::vector<std::string> said;
    std::vector<std::string> detected;
    int saved = 0;
    Support::Subscription savedSubscription =
        controller.recordingSaved.connect([this](const AudioEngine::CapturedRecording&) { ++saved; });
    App::CallRecorder calls{
        {.state = state,
         .controller = controller,
         .intents = intents,
         .defaults = defaults,
         .scheduler = scheduler,
         .upcoming = [] { return std::vector<UI::CalendarMeeting>{meeting("now", at(9, 45), 30)}; },
         .didStartRecording = [this](const std::string& id, bool) { detected.push_back(id); },
         .say = [this](const std::string& text) { said.push_back(text); }}};

    ~CallRecorderTest() override {
        std::error_code ec;
        std::filesystem::remove_all(folder, ec);
    }
    void advance(double seconds) { scheduler.advance(Support::seconds(seconds)); }
    /// Saving writes the file on the blocking pool (real time): lets the loop run until the phase is idle.
    void untilSaved() {
        for (int i = 0; i < 1000 && !state.phase().isIdle(); ++i) {
            advance(0.1);
            loop.runOne(5);
        }
        EXPECT_TRUE(state.phase().isIdle());
    }
    JoinIntent join(JoinIntent::Mode mode, std::set<std::string> holders = {}) {
        auto intent =
            JoinIntent::make(meeting("A", ten, 10), mode, zoomApp(), scheduler.now(), std::move(holders));
        intents.registerIntent(intent, scheduler.now());
        return intent;
    }
};

} // namespace

TEST_F(CallRecorderTest, RecordsACallAsTheAutomaticPreferenceAndTheJoinIntentsSay) {
    struct Case {
        const char* what;
        std::optional<bool> autoRecord;
        std::optional<JoinIntent::Mode> intent;
        bool recorded;
    };
    const std::vector<Case> cases = {
        {"no preference: recorded", std::nullopt, std::nullopt, true},
        {"automatic recording off", false, std::nullopt, false},
        {"off, but the user chose Join & Record", false, JoinIntent::Mode::record, true},
        {"on, but the user chose Join", true, JoinIntent::Mode::skip, false},
    };
    for (const auto& c : cases) {
        if (c.autoRecord) {
            defaults.setBool("autoRecord", *c.autoRecord);
        }
        if (c.intent) {
            join(*c.intent);
        }
        calls.callStarted("us.zoom.xos", false);
        advance(1);
        EXPECT_EQ(state.isRecording(), c.recorded) << c.what;
        if (c.recorded) {
            EXPECT_EQ(calls.meeting()->calendarItemID, c.intent ? "A" : "now") << c.what;
            calls.callsEnded(true);
            untilSaved();
        }
        EXPECT_FALSE(state.isRecording()) << c.what;
        EXPECT_FALSE(calls.isHandlingCall()) << c.what;
        defaults.remove("autoRecord");
        intents.expire(scheduler.now() + Support::seconds(3600));
    }
    EXPECT_EQ(saved, 2);
}

TEST_F(CallRecorderTest, LeavesACallThatStartsBesideTheRecordedOneAlone) {
    calls.callStarted("us.zoom.xos", false);
    advance(1);
    ASSERT_TRUE(state.isRecording());
    calls.callStarted("com.microsoft.teams2", false);
    advance(1);
    EXPECT_EQ(detected, (std::vector<std::string>{"us.zoom.xos"}));
    calls.callsEnded(false); // Teams let go; Zoom still holds the microphone
    advance(2);
    EXPECT_TRUE(state.isRecording());
}

TEST_F(CallRecorderTest, HoldsARecordNowRecordingThroughAMicrophoneReleaseUntilTheMeetingIsOver) {
    // The meeting ends at 10:10: held until 10:15, and at least 15 minutes from the start at 9:58 (10:13).
    auto intent = join(JoinIntent::Mode::record, {"us.zoom.xos"});
    calls.recordNow(intent);
    advance(1);
    ASSERT_TRUE(state.isRecording());
    calls.callsEnded(true);
    advance(2);
    EXPECT_TRUE(state.isRecording());
    scheduler.advanceTo(at(10, 15) - Support::seconds(1));
    EXPECT_TRUE(state.isRecording());
    advance(2);
    untilSaved();
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(said.back(), "The meeting is over: the recording stops.");
    EXPECT_FALSE(calls.isHandlingCall());
}

TEST_F(CallRecorderTest, EndsAHeldRecordingWithItsCallOnceTheCallTakesTheMicrophoneAgain) {
    auto intent = join(JoinIntent::Mode::record, {"us.zoom.xos"});
    calls.recordNow(intent);
    advance(1);
    calls.callStarted("us.zoom.xos", false); // seen again: the usual end rule applies
    calls.callsEnded(true);
    untilSaved();
    EXPECT_EQ(saved, 1);
    // The hold's timer went with the hold: nothing happens at the old deadline.
    calls.callStarted("us.zoom.xos", false);
    advance(1);
    ASSERT_TRUE(state.isRecording());
    scheduler.advanceTo(at(10, 16));
    EXPECT_TRUE(state.isRecording());
}

#include "App/host/CallMonitor.h"

#include "Fakes/FakeMicrophoneMonitor.h"
#include "Fakes/ScriptFolder.h"
#include "Support/MainLoop.h"
#include "UI/calendar/JoinIntentStore.h"

#include <gtest/gtest.h>

using Platform::MicrophoneClient;

namespace {

MicrophoneClient stream(std::string name, std::string binary, std::optional<int> pid = std::nullopt) {
    return MicrophoneClient{0, std::move(name), std::move(binary), pid, false};
}

struct CallMonitorTest : ::testing::Test {
    Support::MainLoop loop;
    Fakes::FakeMicrophoneMonitor microphones;
    UI::JoinIntentStore intents;
    std::set<int> ownProcesses;
    std::vector<bool> ended;
    std::vector<std::string> said;
    std::vector<std::pair<std::string, bool>> started;
    App::CallMonitor monitor{{.microphones = microphones,
                              .intents = intents,
                              .ownProcessIds = [this] { return ownProcesses; },
                              .callsEnded = [this](bool noCallLeft) { ended.push_back(noCallLeft); },
                              .say = [this](const std::string& text) { said.push_back(text); }}};
    Support::Subscription startedSubscription = monitor.callStarted.connect(
        [this](const std::string& bundleID, bool isBrowser) { started.emplace_back(bundleID, isBrowser); });

    /// Starts the monitor and turns the loop until its start has been answered.
    void startWatching() {
        int before = microphones.starts;
        monitor.start();
        ASSERT_TRUE(Fakes::runUntil(loop, [&] { return microphones.starts > before; }));
        for (int i = 0; i < 5; ++i) {
            loop.runOne(1);
        }
    }
};

} // namespace

TEST_F(CallMonitorTest, AMeetingAppOrBrowserTakingTheMicrophoneStartsACallAndTellsTheIntents) {
    startWatching();
    microphones.publish({stream("ZOOM VoiceEngine", "zoom"), stream("Audacity", "audacity")});
    ASSERT_EQ(started.size(), 1u);
    EXPECT_EQ(started[0], std::make_pair(std::string("us.zoom.xos"), false));
    EXPECT_EQ(intents.microphoneHolders(), std::set<std::string>{"us.zoom.xos"});

    microphones.publish({stream("ZOOM VoiceEngine", "zoom"), stream("Firefox", "firefox")});
    ASSERT_EQ(started.size(), 2u);
    EXPECT_EQ(started[1], std::make_pair(std::string("org.mozilla.firefox"), true));
    EXPECT_TRUE(ended.empty());
}

TEST_F(CallMonitorTest, CallsEndingSayWhetherAnyCallIsLeft) {
    startWatching();
    microphones.publish({stream("ZOOM VoiceEngine", "zoom"), stream("Firefox", "firefox")});
    microphones.publish({stream("Firefox", "firefox")});
    microphones.publish({});
    EXPECT_EQ(ended, (std::vector<bool>{false, true}));
    EXPECT_TRUE(intents.microphoneHolders().empty());
}

TEST_F(CallMonitorTest, OurOwnRecordingToolIsNeverACall) {
    ownProcesses = {4242};
    startWatching();
    microphones.publish({stream("Firefox", "firefox", 4242)});
    EXPECT_TRUE(started.empty());
    ownProcesses.clear();
    microphones.publish({stream("Firefox", "firefox", 4242), stream("", "zoom")});
    EXPECT_EQ(started.size(), 2u) << "once the process is no longer ours, its stream counts";
}

TEST_F(CallMonitorTest, TheMonitorsReasonsAreSaidAndStopEndsTheWatch) {
    microphones.startFailure = "No sound server: calls are not noticed.";
    startWatching();
    EXPECT_EQ(said, std::vector<std::string>{"No sound server: calls are not noticed."});

    microphones.startFailure.reset();
    said.clear();
    startWatching();
    microphones.breakDown("The sound server went away.");
    EXPECT_EQ(said, std::vector<std::string>{"The sound server went away."});

    monitor.stop();
    EXPECT_FALSE(microphones.isWatching());
    microphones.publish({stream("", "zoom")});
    EXPECT_TRUE(started.empty());
}

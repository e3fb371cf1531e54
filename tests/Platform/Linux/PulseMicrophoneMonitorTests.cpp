#include "Platform/Linux/PulseMicrophoneMonitor.h"

#include "Fakes/ScriptFolder.h"
#include "Platform/PosixProcessRunner.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Platform::MicrophoneClient;
using Platform::PulseMicrophoneMonitor;

namespace {

const char* firefoxAndZoom = R"([
 {"index":41,"driver":"protocol-native.c","owner_module":"9","client":"67","source":2,"corked":false,"mute":false,
  "properties":{"media.name":"AudioCallbackDriver","application.name":"Firefox","application.process.id":"4211",
                "application.process.binary":"firefox-esr"}},
 {"index":52,"driver":"PipeWire","owner_module":4294967295,"client":"80","source":2,"corked":true,
  "properties":{"application.name":"ZOOM VoiceEngine","application.process.id":5120,
                "application.process.binary":"/opt/zoom/zoom"}}
])";

TEST(PulseMicrophoneMonitor, ReadsTheStreamsOfPactlsJsonList) {
    auto clients = PulseMicrophoneMonitor::parseSourceOutputs(firefoxAndZoom);
    ASSERT_TRUE(clients);
    std::vector<MicrophoneClient> expected{{41, "Firefox", "firefox-esr", 4211, false},
                                           {52, "ZOOM VoiceEngine", "zoom", 5120, true}};
    EXPECT_EQ(*clients, expected);
}

TEST(PulseMicrophoneMonitor, ToleratesOddEntriesAndRefusesWhatIsNoList) {
    struct Case {
        const char* json;
        std::optional<std::vector<MicrophoneClient>> expected;
    };
    const Case cases[] = {
        {"[]", std::vector<MicrophoneClient>{}},
        {R"([1, "x", null, {"index":7}])", std::vector<MicrophoneClient>{{7, "", "", std::nullopt, false}}},
        {R"([{"index":"8","corked":"yes","properties":{"application.name":"Skype","application.process.id":"-3"}}])",
         std::vector<MicrophoneClient>{{8, "Skype", "", std::nullopt, true}}},
        {R"([{"index":-1,"properties":{"application.process.id":"12ab","application.name":5}}])",
         std::vector<MicrophoneClient>{{0, "", "", std::nullopt, false}}},
        {R"({"index":41})", std::nullopt},
        {"Source Output #41\n\tDriver: protocol-native.c\n", std::nullopt},
        {"", std::nullopt},
        {R"([{"index":1,)", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PulseMicrophoneMonitor::parseSourceOutputs(c.json), c.expected) << c.json;
    }
}

TEST(PulseMicrophoneMonitor, ListsAgainOnlyForEventsAboutRecordingStreams) {
    struct Case {
        const char* line;
        bool relevant;
    };
    const Case cases[] = {
        {"Event 'new' on source-output #41", true},        {"Event 'remove' on source-output #41", true},
        {"Event 'change' on source-output #7", true},      {"Event 'change' on source #2", false},
        {"Event 'new' on sink-input #12", false},          {"Event 'change' on server #4294967295", false},
        {"Connection failure: Connection refused", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PulseMicrophoneMonitor::isSourceOutputEvent(c.line), c.relevant) << c.line;
    }
}

// A pactl that serves `sources.json` to `list`, counts its listings in `lists`, and whose `subscribe`
// prints what the test writes into the `events` pipe (and ends when the test closes it).
struct FakePactl {
    Fakes::ScriptFolder folder;
    std::filesystem::path pactl;
    int events = -1;

    FakePactl() {
        pactl = folder.script("pactl", R"(dir=$(dirname "$0")
case "$1" in
subscribe) echo $$ > "$dir/subscriber"; exec cat "$dir/events" ;;
--format=json)
  # A refusing server answers once the subscriber is up, so the test can see that it was ended.
  if [ -f "$dir/refuse" ]; then while [ ! -s "$dir/subscriber" ]; do sleep 0.01; done; echo "Connection failure: Connection refused" >&2; exit 1; fi
  cat "$dir/sources.json"; echo x >> "$dir/lists" ;;
esac
)");
        folder.write("sources.json", "[]");
        ::mkfifo((folder.path / "events").c_str(), 0600);
        // Read and write: opening does not wait for the reader, and the writer stays until the test ends it.
        events = ::open((folder.path / "events").c_str(), O_RDWR | O_CLOEXEC);
    }
    ~FakePactl() { endSubscription(); }

    void send(const std::string& lines) {
        EXPECT_EQ(::write(events, lines.data(), lines.size()), ssize_t(lines.size()));
    }
    void endSubscription() {
        if (events >= 0) {
            ::close(events);
            events = -1;
        }
    }
    size_t listings() const {
        auto text = folder.read("lists");
        return size_t(std::count(text.begin(), text.end(), '\n'));
    }
};

struct MonitorTest : testing::Test {
    Support::MainLoop loop;
    FakePactl fake;
    Platform::PosixProcessRunner runner;
    PulseMicrophoneMonitor monitor{fake.pactl, runner};
    std::vector<std::vector<MicrophoneClient>> published;
    std::vector<std::string> endings;
    Support::SubscriptionBag subscriptions;

    MonitorTest() {
        subscriptions +=
            monitor.clientsChanged.connect([this](const auto& clients) { published.push_back(clients); });
        subscriptions +=
            monitor.ended.connect([this](const std::string& reason) { endings.push_back(reason); });
    }

    std::optional<std::string> start() {
        auto task = monitor.start();
        std::optional<std::string> reason;
        bool done = false;
        auto waiter = Support::startTask([&]() -> Support::Task<void> {
            reason = co_await task;
            done = true;
        });
        EXPECT_TRUE(Fakes::runUntil(loop, [&] { return done; }));
        return reason;
    }
};

TEST_F(MonitorTest, PublishesTheListAtStartAndAgainWhenARecordingStreamChanges) {
    ASSERT_EQ(start(), std::nullopt);
    EXPECT_TRUE(monitor.isWatching());
    ASSERT_EQ(published.size(), 1u);
    EXPECT_TRUE(published[0].empty());

    fake.folder.write("sources.json", firefoxAndZoom);
    fake.send("Event 'change' on sink #3\nEvent 'new' on source-output #41\n");
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return published.size() == 2; }));
    EXPECT_EQ(published[1].size(), 2u);
    EXPECT_EQ(monitor.clients(), published[1]);
}

TEST_F(MonitorTest, StaysQuietWhenAnEventLeavesTheListAsItWas) {
    ASSERT_EQ(start(), std::nullopt);
    fake.send("Event 'change' on source-output #41\n");
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return fake.listings() == 2; }));

    fake.folder.write("sources.json", firefoxAndZoom);
    fake.send("Event 'new' on source-output #52\n");
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return published.size() == 2; }));
    loop.runUntilIdle();
    EXPECT_EQ(published.size(), 2u);
    EXPECT_EQ(published[1].size(), 2u);
}

TEST_F(MonitorTest, SaysOnceThatTheSubscriptionEndedAndListsNoMore) {
    ASSERT_EQ(start(), std::nullopt);
    // Once a listing followed an event, the subscriber is reading the pipe: closing it now ends the
    // subscriber.
    fake.send("Event 'new' on source-output #1\n");
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return fake.listings() == 2; }));
    fake.send("Connection failure: Connection terminated\n");
    fake.endSubscription();
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !endings.empty(); }));
    EXPECT_EQ(
        endings,
        std::vector<std::string>{
            "Call detection stopped: pactl subscribe ended (Connection failure: Connection terminated)."});
    EXPECT_FALSE(monitor.isWatching());
    loop.runUntilIdle();
    EXPECT_EQ(endings.size(), 1u);
    EXPECT_EQ(fake.listings(), 2u);
}

TEST_F(MonitorTest, GivesTheServersAnswerWhenNoServerAnswersAndLeavesNothingRunning) {
    fake.folder.write("refuse", "");
    auto reason = start();
    EXPECT_EQ(reason, "Call detection is off: no PulseAudio or PipeWire server answered (Connection failure: "
                      "Connection refused).");
    EXPECT_FALSE(monitor.isWatching());
    EXPECT_TRUE(published.empty());
    auto subscriber = std::stoi(fake.folder.read("subscriber"));
    EXPECT_NE(::kill(subscriber, 0), 0) << "the subscriber was left running";
}

TEST_F(MonitorTest, AsksForANewerPactlWhenTheListIsNoJson) {
    fake.folder.write("sources.json", "Source Output #41\n\tDriver: protocol-native.c\n");
    EXPECT_EQ(start(), "Call detection is off: pactl did not list the recording streams as JSON (pactl 16 or "
                       "later is needed).");
}

TEST(PulseMicrophoneMonitor, NamesAPactlThatCannotBeRun) {
    Support::MainLoop loop;
    Platform::PosixProcessRunner runner;
    PulseMicrophoneMonitor monitor("/nonexistent/pactl", runner);
    std::optional<std::string> reason;
    bool done = false;
    auto waiter = Support::startTask([&]() -> Support::Task<void> {
        reason = co_await monitor.start();
        done = true;
    });
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return done; }));
    EXPECT_EQ(reason, "Call detection is off: /nonexistent/pactl cannot be run.");
}

TEST_F(MonitorTest, StopEndsTheSubscriberAndLaterEventsAreNotRead) {
    ASSERT_EQ(start(), std::nullopt);
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !fake.folder.read("subscriber").empty(); }));
    auto subscriber = std::stoi(fake.folder.read("subscriber"));
    monitor.stop();
    EXPECT_FALSE(monitor.isWatching());
    EXPECT_NE(::kill(subscriber, 0), 0);
    loop.runUntilIdle();
    EXPECT_TRUE(endings.empty());
    EXPECT_EQ(published.size(), 1u);
}

} // namespace

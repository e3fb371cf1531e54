#include "UI/recording/CallDetector.h"

#include <gtest/gtest.h>

using Platform::MicrophoneClient;
using UI::CallDetector;

namespace {

MicrophoneClient stream(std::string name, std::string binary, std::optional<int> pid = std::nullopt,
                        bool corked = false) {
    return MicrophoneClient{0, std::move(name), std::move(binary), pid, corked};
}

TEST(CallDetector, NamesTheMeetingAppOrBrowserBehindAStream) {
    struct Case {
        MicrophoneClient client;
        std::optional<std::string> bundleID;
        bool isBrowser = false;
        std::string appID = {};
    };
    const Case cases[] = {
        {stream("ZOOM VoiceEngine", "zoom"), "us.zoom.xos", false, "zoom"},
        {stream("", "ZoomLauncher"), "us.zoom.xos", false, "zoom"},
        {stream("zoom", ""), "us.zoom.xos", false, "zoom"},
        {stream("Microsoft Teams", ""), "com.microsoft.teams2", false, "teams"},
        // An Electron app names its stream after Chromium, but its program says which app it is.
        {stream("Chromium input", "teams-for-linux"), "com.microsoft.teams2", false, "teams"},
        {stream("teams-for-linux", "electron"), "com.microsoft.teams2", false, "teams"},
        {stream("Slack", "slack"), "com.tinyspeck.slackmacgap", false, "slack"},
        {stream("", "Discord"), "com.hnc.Discord", false, "discord"},
        {stream("Firefox", "firefox-esr"), "org.mozilla.firefox", true, "meet"},
        {stream("Firefox", ""), "org.mozilla.firefox", true, "meet"},
        {stream("Chromium input", "chromium"), "org.chromium.Chromium", true, "meet"},
        {stream("Chromium input", "chrome"), "com.google.chrome", true, "meet"},
        {stream("Google Chrome input", "google-chrome-stable"), "com.google.chrome", true, "meet"},
        {stream("Brave input", "brave"), "com.brave.Browser", true, "meet"},
        {stream("", "msedge"), "com.microsoft.Edge", true, "meet"},
        {stream("Vivaldi input", "vivaldi-bin"), "com.vivaldi.Vivaldi", true, "meet"},
        {stream("Opera", "opera"), "com.opera.Opera", true, "meet"},
        // Names that only begin like an app's are not that app.
        {stream("Zoomer", "zoomer"), std::nullopt},
        {stream("operator-console", "operator"), std::nullopt},
        {stream("Audacity", "audacity"), std::nullopt},
        {stream("PulseAudio Volume Control", "pavucontrol"), std::nullopt},
        {stream("", ""), std::nullopt},
        // Our own recorder, by name or process, never counts.
        {stream("vellmora", "parecord"), std::nullopt},
        {stream("Vellmora", "firefox"), std::nullopt},
        {stream("Firefox", "firefox", 777), std::nullopt},
    };
    for (const auto& c : cases) {
        auto call = CallDetector::classify(c.client, {777});
        SCOPED_TRACE(c.client.applicationName + " / " + c.client.processBinary);
        ASSERT_EQ(call.has_value(), c.bundleID.has_value());
        if (call) {
            EXPECT_EQ(call->bundleID, *c.bundleID);
            EXPECT_EQ(call->isBrowser, c.isBrowser);
            EXPECT_EQ(call->appID, c.appID);
        }
    }
}

TEST(CallDetector, CountsAnAppWithSeveralStreamsAsOneCallEvenWhenPaused) {
    auto calls = CallDetector::callsIn({stream("Firefox", "firefox", 10), stream("Audacity", "audacity"),
                                        stream("Firefox", "firefox", 10, true), stream("", "zoom", 11, true)},
                                       {});
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].appName, "Firefox");
    EXPECT_EQ(calls[1].appName, "Zoom");
}

TEST(CallDetector, ReportsCallsThatStartAndEndBetweenTwoLists) {
    struct Step {
        std::vector<MicrophoneClient> clients;
        std::vector<std::string> started;
        std::vector<std::string> ended;
        std::set<std::string> holders;
    };
    const Step steps[] = {
        {{}, {}, {}, {}},
        {{stream("Firefox", "firefox")}, {"org.mozilla.firefox"}, {}, {"org.mozilla.firefox"}},
        // A second tab joins, then Zoom: only Zoom is new.
        {{stream("Firefox", "firefox"), stream("Firefox", "firefox"), stream("ZOOM VoiceEngine", "zoom")},
         {"us.zoom.xos"},
         {},
         {"org.mozilla.firefox", "us.zoom.xos"}},
        // Our own recorder starts: nothing changes.
        {{stream("Firefox", "firefox"), stream("ZOOM VoiceEngine", "zoom"),
          stream("vellmora", "parecord", 99)},
         {},
         {},
         {"org.mozilla.firefox", "us.zoom.xos"}},
        {{stream("vellmora", "parecord", 99)}, {}, {"org.mozilla.firefox", "us.zoom.xos"}, {}},
        {{}, {}, {}, {}},
    };
    CallDetector detector;
    for (size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        auto changes = detector.update(steps[i].clients, {99});
        std::vector<std::string> started, ended;
        for (const auto& c : changes.started) {
            started.push_back(c.bundleID);
        }
        for (const auto& c : changes.ended) {
            ended.push_back(c.bundleID);
        }
        EXPECT_EQ(started, steps[i].started);
        EXPECT_EQ(ended, steps[i].ended);
        EXPECT_EQ(changes.microphoneHolders, steps[i].holders);
    }
}

} // namespace

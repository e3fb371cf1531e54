#include "App/host/CaptureAlerts.h"
#include "Fakes/FakeUserNotificationCenter.h"
#include "Fakes/ScriptFolder.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

namespace {

struct CaptureAlertsTest : testing::Test {
    Support::MainLoop loop;
    AudioEngine::PulseCapture capture;
    Fakes::FakeUserNotificationCenter notifications;
    std::vector<std::string> said;
    std::optional<std::string> warning;
    int stops = 0;
    App::CaptureAlerts alerts{
        {.capture = capture,
         .notifications = notifications,
         .say = [this](const std::string& s) { said.push_back(s); },
         .showWarning = [this](std::optional<std::string> w) { warning = std::move(w); },
         .stopRecording = [this] { ++stops; }}};
};

} // namespace

TEST_F(CaptureAlertsTest, ASilentTrackIsSaidShownInTheMenuAndNotifiedUntilTheRecordingEnds) {
    capture.silenceReported.emit(AudioEngine::PulseCapture::silentCallMessage);
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !notifications.added.empty(); }));
    EXPECT_EQ(said,
              std::vector<std::string>{"Vellmora hears nothing from the call: check the output device"});
    EXPECT_EQ(warning, said[0]);
    EXPECT_EQ(notifications.added[0], App::CaptureAlerts::notification(said[0]));
    EXPECT_EQ(notifications.added[0].content.body, said[0]);
    EXPECT_EQ(stops, 0);
    alerts.recordingEnded();
    EXPECT_EQ(warning, std::nullopt);
}

TEST_F(CaptureAlertsTest, DeviceNewsIsOnlySaidAndAFailedCaptureStopsTheRecording) {
    capture.notice.emit("The call is now recorded from headset.monitor.");
    EXPECT_EQ(said.size(), 1u);
    EXPECT_EQ(warning, std::nullopt);
    capture.failed.emit(
        "Vellmora stopped recording: x.call.opus could not be written (No space left on device). "
        "What was recorded until then is kept.");
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(said.size(), 2u);
    ASSERT_TRUE(Fakes::runUntil(loop, [&] { return !notifications.added.empty(); }));
}

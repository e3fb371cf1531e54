#include "AudioEngine/ScreenRecordingCapture.h"

#include "AudioEngine/DesktopScreenCapture.h"
#include "AudioEngine/ScreenCapturePreferences.h"
#include "AudioEngine/SimulatedCapture.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

using AudioEngine::CapturedVideo;
using AudioEngine::CaptureError;
using AudioEngine::ScreenCapturePreferences;
using AudioEngine::ScreenRecordingCapture;
namespace fs = std::filesystem;

namespace {

/// A screen engine that records what it was asked and can refuse to start like a closed share dialog.
class ScriptedScreen final : public AudioEngine::ScreenCaptureEngine {
public:
    struct Log {
        std::vector<fs::path> started;
        int stops = 0;
    };
    ScriptedScreen(Log& log, std::optional<std::string> refusal) : log_(log), refusal_(std::move(refusal)) {}
    std::string name() const override { return "scripted"; }
    Support::Task<> start(fs::path file, Support::Date) override {
        if (refusal_) {
            throw CaptureError(*refusal_);
        }
        log_.started.push_back(file);
        running_ = file;
        co_return;
    }
    Support::Task<std::optional<CapturedVideo>> stop() override {
        ++log_.stops;
        auto file = std::exchange(running_, std::nullopt);
        if (!file) {
            co_return std::nullopt;
        }
        co_return CapturedVideo{*file, std::chrono::milliseconds(40)};
    }
    bool isCapturing() const override { return running_.has_value(); }
    std::optional<CapturedVideo> runningVideo() const override {
        return running_ ? std::optional(CapturedVideo{*running_, std::chrono::milliseconds(40)})
                        : std::nullopt;
    }

private:
    Log& log_;
    std::optional<std::string> refusal_;
    std::optional<fs::path> running_;
};

struct ScreenRecording : ::testing::Test {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'795'000'000)};
    Support::InMemoryUserDefaults defaults;
    fs::path folder =
        fs::temp_directory_path() / ("vellmora-screen-" + std::to_string(std::random_device{}()));
    ScriptedScreen::Log log;
    std::optional<std::string> refusal;
    std::vector<std::string> said;
    std::vector<double> rates;

    ~ScreenRecording() override { fs::remove_all(folder); }

    ScreenRecordingCapture make(bool screenAvailable = true) {
        return ScreenRecordingCapture(std::make_unique<AudioEngine::SimulatedCapture>(scheduler),
                                      {.defaults = defaults,
                                       .makeScreen = [this, screenAvailable](double rate)
                                           -> std::unique_ptr<AudioEngine::ScreenCaptureEngine> {
                                           rates.push_back(rate);
                                           if (!screenAvailable) {
                                               return nullptr;
                                           }
                                           return std::make_unique<ScriptedScreen>(log, refusal);
                                       },
                                       .say = [this](const std::string& text) { said.push_back(text); }});
    }
    template <typename T> T await(const Support::Task<T>& task) {
        for (int i = 0; i < 1000 && !task.isDone(); ++i) {
            loop.runOne(10);
            scheduler.advance(std::chrono::milliseconds(100));
        }
        return task.get();
    }
};

TEST_F(ScreenRecording, RecordsNoScreenUntilTheUserTurnsItOn) {
    auto capture = make();
    await(capture.start(folder));
    auto recording = await(capture.stop());
    ASSERT_TRUE(recording);
    EXPECT_FALSE(recording->videoFile);
    EXPECT_FALSE(recording->videoOffset);
    EXPECT_TRUE(rates.empty());
    EXPECT_TRUE(said.empty());
}

TEST_F(ScreenRecording, GivesTheVideoBesideTheAudioWithItsOffsetAtTheChosenFrameRate) {
    ScreenCapturePreferences::setEnabled(defaults, true);
    ScreenCapturePreferences::setFrameRate(defaults, 2);
    auto capture = make();
    auto session = await(capture.start(folder));
    ASSERT_EQ(log.started.size(), 1u);
    auto expected = session.audioFile;
    expected.replace_extension(".mkv");
    EXPECT_EQ(log.started[0], expected);
    EXPECT_EQ(rates, std::vector<double>{2});

    auto recording = await(capture.stop());
    ASSERT_TRUE(recording);
    EXPECT_EQ(recording->videoFile, expected);
    EXPECT_EQ(recording->videoOffset, Support::Duration(std::chrono::milliseconds(40)));
    EXPECT_EQ(log.stops, 1);
}

TEST_F(ScreenRecording, KeepsRecordingTheAudioWhenTheScreenCannotBeCaptured) {
    ScreenCapturePreferences::setEnabled(defaults, true);
    struct Case {
        const char* what;
        bool available;
        std::optional<std::string> refusal;
        const char* sentence;
    };
    const Case cases[] = {
        {"the share dialog was refused", true, "The screen is not recorded: the screen share was refused.",
         "The screen is not recorded: the screen share was refused. The audio is being recorded."},
        {"no way to capture this desktop", false, std::nullopt,
         "The screen is not recorded: this desktop offers no way to capture it"},
    };
    for (const auto& c : cases) {
        said.clear();
        refusal = c.refusal;
        auto capture = make(c.available);
        await(capture.start(folder));
        EXPECT_TRUE(capture.isCapturing()) << c.what;
        EXPECT_EQ(capture.screen(), nullptr) << c.what;
        ASSERT_EQ(said.size(), 1u) << c.what;
        EXPECT_EQ(said[0].rfind(c.sentence, 0), 0u) << said[0];
        auto recording = await(capture.stop());
        ASSERT_TRUE(recording) << c.what;
        EXPECT_FALSE(recording->videoFile) << c.what;
    }
}

TEST(ScreenCapturePreferences, KeepsTheFrameRateWithinWhatSlidesNeed) {
    Support::InMemoryUserDefaults defaults;
    EXPECT_FALSE(ScreenCapturePreferences::isEnabled(defaults));
    EXPECT_EQ(ScreenCapturePreferences::frameRate(defaults), 1.0);
    struct Case {
        double asked, kept;
    };
    for (auto c : {Case{2, 2}, Case{0.5, 0.5}, Case{0.01, 0.2}, Case{60, 5}, Case{std::nan(""), 1}}) {
        EXPECT_EQ(ScreenCapturePreferences::setFrameRate(defaults, c.asked), c.kept) << c.asked;
        EXPECT_EQ(ScreenCapturePreferences::frameRate(defaults), c.kept) << c.asked;
    }
    defaults.set(ScreenCapturePreferences::frameRateKey, Support::DefaultsValue(std::string("fast")));
    EXPECT_EQ(ScreenCapturePreferences::frameRate(defaults), 1.0);
}

TEST(DesktopScreenCapture, UsesThePortalUnderWaylandAndX11GrabUnderX) {
    using Kind = AudioEngine::DesktopScreenCapture::Kind;
    struct Case {
        const char* display;
        const char* wayland;
        bool ffmpeg, gst;
        Kind kind;
    };
    const Case cases[] = {
        {":0", "", true, true, Kind::x11},
        {":0", "wayland-0", true, true, Kind::portal},
        {":0", "wayland-0", true, false, Kind::none},
        {":0", "", false, true, Kind::none},
        {"", "", true, true, Kind::none},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AudioEngine::DesktopScreenCapture::choose(c.display, c.wayland, c.ffmpeg, c.gst), c.kind)
            << c.display << " " << c.wayland;
    }
}

} // namespace

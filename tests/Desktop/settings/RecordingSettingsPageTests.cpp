#include "Desktop/settings/RecordingSettingsPage.h"

#include "../DesktopTestSupport.h"
#include "Desktop/settings/LevelTestReport.h"
#include "Desktop/settings/SpeechModelDownloads.h"
#include "Fakes/FakeClipboard.h"
#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeProcessRunner.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

using Report = AudioEngine::PulseCapture::TrackReport;

struct RecordingPageTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    Fakes::FakeHttpClient http;
    Intelligence::SpeechModels models{std::filesystem::temp_directory_path() / "vellmora-no-models"};
    Desktop::SpeechModelDownloads downloads{models, http, {}};
    UI::AIServiceObservable ai{http, nullptr};
    UI::AIAppsSettingsModel aiApps{[] {
        UI::AIAppsSettingsModel::Dependencies d;
        d.environment = UI::MCPClientEnvironment::live(std::filesystem::temp_directory_path());
        d.clipboard = std::make_shared<Fakes::FakeClipboard>();
        d.claude = std::make_shared<UI::ClaudeCLIRunner>(std::make_shared<Fakes::FakeProcessRunner>(),
                                                         std::filesystem::temp_directory_path(),
                                                         std::map<std::string, std::string>{});
        return d;
    }()};
    std::vector<Report> heard;
    std::optional<std::string> failure;
    Desktop::SettingsServices services{
        .defaults = defaults,
        .center = center,
        .calendars = {},
        .devices =
            [] {
                return AudioEngine::PulseDevices{"PipeWire",
                                                 {{"mic", "Headset Microphone", true}},
                                                 {{"out", "Speakers", true}, {"hdmi", "HDMI", false}}};
            },
        .levelTest = [this]() -> Support::Task<std::vector<Report>> {
            auto result = heard;
            auto why = failure;
            return Support::startTask([result, why]() -> Support::Task<std::vector<Report>> {
                if (why) {
                    throw std::runtime_error(*why);
                }
                co_return result;
            });
        },
        .speechModels = downloads,
        .ai = ai,
        .keyFile = {},
        .aiApps = aiApps,
        .version = "1",
        .checkForUpdates = {}};
    std::unique_ptr<Desktop::RecordingSettingsPage> page;

    void open() {
        page = std::make_unique<Desktop::RecordingSettingsPage>(services);
        page->show();
        settle();
    }
    void settle() { DesktopTest::settle(loop); }
    QStringList rows(const char* name) const {
        QStringList out;
        auto* list = page->findChild<QListWidget*>(name);
        for (int i = 0; i < list->count(); ++i) {
            out << list->item(i)->text();
        }
        return out;
    }
    std::string result() const { return page->findChild<QLabel*>("levelResult")->text().toStdString(); }
};

} // namespace

TEST_F(RecordingPageTest, ListsTheDevicesMarkingTheOnesRecorded) {
    open();
    EXPECT_EQ(rows("microphones"), QStringList{"Headset Microphone (recorded)"});
    EXPECT_EQ(rows("outputs"), (QStringList{"Speakers (recorded)", "HDMI"}));
}

TEST_F(RecordingPageTest, TheLevelTestSaysWhatEachTrackHeard) {
    struct Case {
        const char* name;
        std::vector<Report> tracks;
        std::optional<std::string> failure;
        std::string expected;
    };
    const Case cases[] = {
        {"both heard",
         {{true, "mic", -20, -30, 5}, {false, "out.monitor", -12, -25, 5}},
         std::nullopt,
         "Your microphone (mic): peak -20 dBFS, average -30 dBFS\nThe call (out.monitor): peak -12 dBFS, "
         "average "
         "-25 dBFS\nBoth tracks hear sound: recordings will hold you and the others."},
        {"a silent call",
         {{true, "mic", -20, -30, 5}, {false, "out.monitor", -200, -200, 5}},
         std::nullopt,
         "Your microphone (mic): peak -20 dBFS, average -30 dBFS\nThe call (out.monitor): peak silence, "
         "average "
         "silence\nNothing was heard: check the output device, and play something during the test."},
        {"no sound server", {}, "Connection refused", "The level test could not record: Connection refused"},
    };
    open();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        heard = c.tracks;
        failure = c.failure;
        page->findChild<QPushButton*>("levelTest")->click();
        settle();
        EXPECT_EQ(result(), c.expected);
        EXPECT_TRUE(page->findChild<QPushButton*>("levelTest")->isEnabled()) << "it can run again";
    }
}

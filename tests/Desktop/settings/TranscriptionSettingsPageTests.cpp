#include "Desktop/settings/TranscriptionSettingsPage.h"

#include "../DesktopTestSupport.h"
#include "Fakes/FakeClipboard.h"
#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeProcessRunner.h"
#include "Intelligence/TranscriptionSettings.h"
#include "Support/NotificationCenter.h"

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using Answer = Fakes::FakeHttpClient::Answer;

// The page over a one-model catalogue served by a fake model host; the model file lands in a temporary
// folder.
struct TranscriptionPageTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    fs::path folder = [] {
        std::string pattern = (fs::temp_directory_path() / "vellmora-models-XXXXXX").string();
        return fs::path(::mkdtemp(pattern.data()));
    }();
    Fakes::FakeHttpClient http;
    Intelligence::SpeechModels models{folder, "http://models.test"};
    Desktop::SpeechModelDownloads downloads{
        models, http, {{"tiny.test", "425af12a0743502b322e93a015bcf868e324d56a", 8}}}; // SHA-1 of "abcdefgh"
    UI::AIServiceObservable ai{http, nullptr};
    std::unique_ptr<UI::AIAppsSettingsModel> aiApps;
    std::unique_ptr<Desktop::SettingsServices> services;
    std::unique_ptr<Desktop::TranscriptionSettingsPage> page;

    TranscriptionPageTest() {
        UI::AIAppsSettingsModel::Dependencies d;
        d.environment = UI::MCPClientEnvironment::live(folder);
        d.clipboard = std::make_shared<Fakes::FakeClipboard>();
        d.claude = std::make_shared<UI::ClaudeCLIRunner>(std::make_shared<Fakes::FakeProcessRunner>(), folder,
                                                         std::map<std::string, std::string>{});
        aiApps = std::make_unique<UI::AIAppsSettingsModel>(std::move(d));
        services.reset(new Desktop::SettingsServices{.defaults = defaults,
                                                     .center = center,
                                                     .calendars = {},
                                                     .devices = {},
                                                     .levelTest = {},
                                                     .speechModels = downloads,
                                                     .ai = ai,
                                                     .keyFile = folder / "keys.json",
                                                     .aiApps = *aiApps,
                                                     .version = "1",
                                                     .checkForUpdates = {}});
        page = std::make_unique<Desktop::TranscriptionSettingsPage>(*services);
        page->show();
    }
    ~TranscriptionPageTest() override {
        page.reset();
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    void settle() { DesktopTest::settle(loop); }
    template <typename T> T* find(const char* name) const { return page->findChild<T*>(name); }
    static Answer model(std::vector<std::string> chunks) {
        Answer a;
        a.headers = {{"Content-Length", "8"}};
        a.chunks = std::move(chunks);
        return a;
    }
};

} // namespace

TEST_F(TranscriptionPageTest, ADownloadShowsItsProgressThenTheModelAsInstalled) {
    http.holdRequests = true;
    http.enqueue(model({"abcd", "efgh"}));
    auto* download = find<QPushButton>("download:tiny.test");
    ASSERT_TRUE(download);
    download->click();
    settle();
    EXPECT_EQ(find<QLabel>("downloadText")->text().toStdString(), "Downloading tiny.test… 0%");
    EXPECT_TRUE(find<QProgressBar>("downloadProgress")->isVisibleTo(page.get()));

    http.releaseAll();
    settle();
    EXPECT_FALSE(find<QProgressBar>("downloadProgress")->isVisibleTo(page.get()));
    EXPECT_EQ(find<QLabel>("downloadMessage")->text().toStdString(), "tiny.test is installed.");
    EXPECT_TRUE(fs::exists(folder / "ggml-tiny.test.bin"));
    ASSERT_TRUE(find<QPushButton>("remove:tiny.test"));
    EXPECT_EQ(http.requests.at(0).url, "http://models.test/ggml-tiny.test.bin");
}

TEST_F(TranscriptionPageTest, AFileThatIsNotTheModelIsDeletedAndSaysSo) {
    http.enqueue(model({"zzzz", "zzzz"}));
    find<QPushButton>("download:tiny.test")->click();
    settle();
    EXPECT_EQ(find<QLabel>("downloadMessage")->text().toStdString(),
              "The downloaded speech model tiny.test is not the expected file (its checksum differs); it was "
              "deleted.");
    EXPECT_FALSE(fs::exists(folder / "ggml-tiny.test.bin"));
    EXPECT_TRUE(find<QPushButton>("download:tiny.test")) << "it can be downloaded again";
}

TEST_F(TranscriptionPageTest, ApplyWritesTheChosenEngineAndModel) {
    auto* engine = find<QComboBox>("speechEngine");
    engine->setCurrentIndex(engine->findData(int(Intelligence::TranscriptionEngine::whisperCli)));
    find<QPushButton>("applyTranscription")->click();
    auto saved = Intelligence::TranscriptionSettings::load(defaults);
    EXPECT_EQ(saved.engine, Intelligence::TranscriptionEngine::whisperCli);
    EXPECT_EQ(saved.whisperModel, "base.en");
}

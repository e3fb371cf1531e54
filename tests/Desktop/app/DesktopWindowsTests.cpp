#include "Desktop/app/DesktopWindows.h"

#include "../DesktopTestSupport.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Desktop/library/LibraryWindow.h"
#include "Desktop/settings/SettingsWindow.h"
#include "Fakes/FakeClipboard.h"
#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeProcessRunner.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"

#include <gtest/gtest.h>

namespace {

// The windows read the user's settings files (AI keys, AI apps): here a temporary home stands in.
struct TempHome {
    std::filesystem::path path;
    TempHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vellmora-windows-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
                                 "XDG_STATE_HOME", "VELLMORA_CONFIG_HOME", "VELLMORA_DATA_HOME"}) {
            ::setenv(name, path.c_str(), 1);
        }
    }
    ~TempHome() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

struct DesktopWindowsTest : ::testing::Test {
    TempHome home;
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'795'003'200)};
    Support::NotificationCenter center;
    UI::AIGenerationJobs jobs{center};
    Support::InMemoryUserDefaults defaults;
    Database::SqliteDatabase db{":memory:"};
    std::vector<std::string> said;
    std::unique_ptr<Desktop::DesktopWindows> windows = Desktop::DesktopWindows::connect(
        {loop, db, scheduler, center, defaults, UI::DateContext{"en_US", "UTC"}, jobs},
        [this](const std::string& line) { said.push_back(line); });

    void settle() { DesktopTest::settle(loop); }
    void closeLibrary() {
        windows->library()->close();
        settle();
    }
};

} // namespace

TEST_F(DesktopWindowsTest, AClosedLibraryIsLetGoAfterTheDelayUnlessItIsOpenedAgainFirst) {
    ASSERT_TRUE(windows) << (said.empty() ? "" : said.front());
    windows->openLibrary();
    settle();
    ASSERT_TRUE(windows->hasLibrary());

    closeLibrary();
    scheduler.advance(Desktop::DesktopWindows::libraryReleaseDelay - std::chrono::seconds(1));
    settle();
    EXPECT_TRUE(windows->hasLibrary()) << "kept for a quick return";
    windows->openLibrary();
    scheduler.advance(std::chrono::seconds(5));
    settle();
    EXPECT_TRUE(windows->hasLibrary()) << "opening it again keeps it";

    closeLibrary();
    scheduler.advance(Desktop::DesktopWindows::libraryReleaseDelay);
    settle();
    EXPECT_FALSE(windows->hasLibrary());

    windows->openLibrary();
    settle();
    EXPECT_TRUE(windows->hasLibrary());
    EXPECT_TRUE(windows->library()->isVisible());
}

TEST_F(DesktopWindowsTest, SettingsAndSetUpOpenTheSettingsWindowAtTheirPage) {
    ASSERT_TRUE(windows);
    windows->openSettings();
    EXPECT_EQ(windows->settings(), nullptr) << "nothing to work with yet";
    windows->setSettingsSources({.calendars = {},
                                 .checkForUpdates = {},
                                 .version = "1.0",
                                 .http = std::make_shared<Fakes::FakeHttpClient>(),
                                 .processes = std::make_shared<Fakes::FakeProcessRunner>(),
                                 .clipboard = std::make_shared<Fakes::FakeClipboard>()});
    windows->openSettings();
    settle();
    ASSERT_NE(windows->settings(), nullptr);
    EXPECT_TRUE(windows->settings()->isVisible());
    windows->settings()->showPage(Desktop::SettingsPages::Page::updates);
    windows->settings()->close();
    EXPECT_FALSE(windows->settings()->isVisible()) << "closing hides";

    windows->openSetup();
    EXPECT_TRUE(windows->settings()->isVisible());
    EXPECT_EQ(windows->settings()->currentPage(), Desktop::SettingsPages::Page::calendars)
        << "no calendar is read yet";
}

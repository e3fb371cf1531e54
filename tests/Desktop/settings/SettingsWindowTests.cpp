#include "Desktop/settings/SettingsWindow.h"

#include "../DesktopTestSupport.h"
#include "Desktop/settings/AIAppsSettingsPage.h"
#include "Desktop/settings/HotKeyConflicts.h"
#include "Desktop/settings/SpeechModelDownloads.h"
#include "Fakes/FakeClipboard.h"
#include "Fakes/FakeHttpClient.h"
#include "Fakes/FakeProcessRunner.h"
#include "Support/NotificationCenter.h"
#include "UI/recording/LiveRecapShortcut.h"
#include "UI/recording/NotesShortcut.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <fstream>

namespace {

namespace fs = std::filesystem;
using Page = Desktop::SettingsPages::Page;

struct TempFolder {
    fs::path path;
    TempFolder() {
        std::string pattern = (fs::temp_directory_path() / "vellmora-settings-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~TempFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

UI::CalendarInfo calendar(std::string id, std::string title, std::string source) {
    UI::CalendarInfo info;
    info.id = std::move(id);
    info.title = std::move(title);
    info.sourceID = source;
    info.sourceTitle = source;
    info.sourceKind = UI::CalendarSourceKind::calDAV;
    return info;
}

// The settings window over real models: the user defaults in memory, the AI apps model on a temporary home
// folder with Cursor installed, the AI key tests answered by a fake HTTP client, speech models in a
// temporary folder.
struct SettingsWindowTest : ::testing::Test {
    QApplication& app = DesktopTest::application();
    Support::MainLoop loop;
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    TempFolder home;
    Fakes::FakeHttpClient http;
    Intelligence::SpeechModels models{home.path / "models"};
    Desktop::SpeechModelDownloads downloads{models, http};
    UI::AIServiceObservable ai{http, nullptr, "http://gemini.test"};
    std::vector<UI::CalendarInfo> calendars = {calendar("work", "Work", "ana@example.com"),
                                               calendar("holidays", "Holidays", "ana@example.com")};
    std::unique_ptr<UI::AIAppsSettingsModel> aiApps;
    std::unique_ptr<Desktop::SettingsWindow> window;

    void open() {
        UI::AIAppsSettingsModel::Dependencies d;
        d.environment = UI::MCPClientEnvironment::live(home.path);
        d.environment.applicationURL = [](const std::string& id) -> std::optional<fs::path> {
            return id == "cursor.desktop" ? std::optional<fs::path>("/usr/share/applications/" + id)
                                          : std::nullopt;
        };
        d.environment.isExecutable = [](const fs::path&) { return false; };
        d.helperPath = fs::path("/opt/vellmora/libexec/vellmora-mcp");
        d.clipboard = std::make_shared<Fakes::FakeClipboard>();
        d.claude = std::make_shared<UI::ClaudeCLIRunner>(std::make_shared<Fakes::FakeProcessRunner>(),
                                                         home.path, std::map<std::string, std::string>{});
        d.catalog = UI::MCPClientCatalog::all(UI::MCPHostSystem::linuxDesktop);
        aiApps = std::make_unique<UI::AIAppsSettingsModel>(std::move(d));
        window = std::make_unique<Desktop::SettingsWindow>(
            Desktop::SettingsServices{.defaults = defaults,
                                      .center = center,
                                      .calendars = [this] { return calendars; },
                                      .devices = {},
                                      .levelTest = {},
                                      .speechModels = downloads,
                                      .ai = ai,
                                      .keyFile = home.path / "ai-keys.json",
                                      .aiApps = *aiApps,
                                      .version = "1.2.3",
                                      .checkForUpdates = {}});
        window->show();
        settle();
    }
    void settle() { DesktopTest::settle(loop); }
    template <typename T> T* find(const char* name) const {
        auto* found = window->findChild<T*>(QString::fromUtf8(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    std::string text(const char* label) const { return find<QLabel>(label)->text().toStdString(); }
};

} // namespace

TEST_F(SettingsWindowTest, ExcludingACalendarIsWrittenToTheSettingsAndIncludingItTakesItBack) {
    open();
    window->showPage(Page::calendars);
    auto* work = find<QCheckBox>("calendar:work");
    ASSERT_TRUE(work);
    EXPECT_TRUE(work->isChecked());
    EXPECT_FALSE(work->accessibleName().isEmpty());

    work->click();
    EXPECT_EQ(UI::CalendarReminderSettings::load(defaults).excludedCalendarIDs,
              std::set<std::string>{"work"});
    EXPECT_FALSE(work->isChecked());

    work->click();
    EXPECT_TRUE(UI::CalendarReminderSettings::load(defaults).excludedCalendarIDs.empty());
}

TEST_F(SettingsWindowTest, ReminderSwitchAndLeadTimesAreWrittenToTheSettings) {
    open();
    find<QCheckBox>("remindersEnabled")->click();
    auto* overlay = find<QComboBox>("overlayMinutes");
    overlay->setCurrentIndex(overlay->findData(UI::CalendarReminderSettings::off));
    Q_EMIT overlay->activated(overlay->currentIndex());
    auto* headsUp = find<QComboBox>("headsUpMinutes");
    headsUp->setCurrentIndex(headsUp->findData(5));
    Q_EMIT headsUp->activated(headsUp->currentIndex());

    auto saved = UI::CalendarReminderSettings::load(defaults);
    EXPECT_TRUE(saved.isEnabled);
    EXPECT_EQ(saved.overlayMinutes, std::nullopt);
    EXPECT_EQ(saved.headsUpMinutes, 5);
}

TEST_F(SettingsWindowTest, ConnectingAnAIAppAsksFirstThenShowsTheOutcomeUnderItsRow) {
    open();
    window->showPage(Page::aiApps);
    settle();
    auto* page = static_cast<Desktop::AIAppsSettingsPage*>(window->pageWidget(Page::aiApps));
    auto* connect = find<QPushButton>("connect:cursor");
    ASSERT_TRUE(connect);
    connect->click();
    settle();

    auto* box = page->confirmationBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->windowTitle().toStdString(), "Connect Cursor");
    EXPECT_EQ(box->text().toStdString(),
              "Vellmora will add itself to ~/.cursor/mcp.json and keep a copy of the file as it was before "
              "Vellmora first changed it, as mcp.json.vellmora-backup. Nothing else in the file changes.");
    EXPECT_FALSE(fs::exists(home.path / ".cursor/mcp.json")) << "nothing is written before the answer";

    box->findChild<QPushButton*>("confirmChange")->click();
    settle();
    EXPECT_EQ(page->confirmationBox(), nullptr);
    EXPECT_EQ(text("outcome:cursor"), "Connected. Restart Cursor to use Vellmora.");
    EXPECT_EQ(text("status:cursor"), "Connected");
    EXPECT_TRUE(fs::exists(home.path / ".cursor/mcp.json"));

    find<QPushButton>("disconnect:cursor")->click();
    settle();
    ASSERT_NE(page->confirmationBox(), nullptr);
    EXPECT_EQ(page->confirmationBox()->windowTitle().toStdString(), "Remove Vellmora from Cursor");
    page->confirmationBox()->findChild<QPushButton*>("cancelChange")->click();
    settle();
    EXPECT_EQ(aiApps->confirmation.get(), std::nullopt);
    EXPECT_EQ(text("status:cursor"), "Connected") << "cancelling changes nothing";
}

TEST_F(SettingsWindowTest, TheHotKeyPageReportsTheSameCombinationTwiceAndOneTakenElsewhere) {
    open();
    window->showPage(Page::hotKeys);
    EXPECT_FALSE(find<QLabel>("hotKeyReport")->isVisibleTo(window.get()));

    find<QLineEdit>("liveRecapInput")->setText("alt+cmd+n");
    find<QPushButton>("liveRecapSet")->click();
    EXPECT_EQ(text("hotKeyReport"),
              "⌥⌘N is set for both the notes and the live recap shortcuts: change one of them.");

    find<QPushButton>("liveRecapReset")->click();
    defaults.setBool(UI::LiveRecapShortcut::registrationFailedKey, true);
    center.post(UI::LiveRecapShortcut::didChangeNotification);
    EXPECT_EQ(text("hotKeyReport"),
              "⌥⌘R is taken by another application: choose another live recap shortcut.");

    find<QLineEdit>("notesInput")->setText("shift+n");
    find<QPushButton>("notesSet")->click();
    EXPECT_EQ(text("hotKeyError"),
              "⇧N cannot be a shortcut: hold Command, Option or Control, with a key that is not a modifier.");
    EXPECT_EQ(UI::NotesShortcut::load(defaults), UI::NotesShortcut::defaultShortcut) << "nothing was saved";

    find<QLineEdit>("notesInput")->setText("ctrl+alt+j");
    find<QPushButton>("notesSet")->click();
    EXPECT_EQ(UI::NotesShortcut::load(defaults).displayString(), "⌃⌥J");
    EXPECT_EQ(text("notesShortcut"), "⌃⌥J");
}

TEST_F(SettingsWindowTest, TheKeyTestShowsTheTextsOfEachAnswer) {
    struct Case {
        const char* name;
        Intelligence::AIProvider provider;
        const char* key;
        std::optional<Fakes::FakeHttpClient::Answer> answer;
        const char* expected;
    };
    using Answer = Fakes::FakeHttpClient::Answer;
    const Case cases[] = {
        {"no key", Intelligence::AIProvider::openAICompatible, "", std::nullopt, "API key is required"},
        {"refused key", Intelligence::AIProvider::openAICompatible, "sk-1", Answer::ok("{}", 401),
         "Invalid API key (401 Unauthorized)"},
        {"wrong address", Intelligence::AIProvider::openAICompatible, "sk-1", Answer::ok("{}", 404),
         "Endpoint not found (404). Check the base URL."},
        {"good key", Intelligence::AIProvider::openAICompatible, "sk-1",
         Answer::ok(R"({"data": [{"id": "gpt-4o-mini"}]})"), "Connection successful (1 model available)"},
        {"refused Gemini key", Intelligence::AIProvider::gemini, "g-1", Answer::ok("{}", 400),
         "Invalid API key (400 Bad Request)"},
    };
    open();
    window->showPage(Page::ai);
    auto* provider = find<QComboBox>("aiProvider");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        provider->setCurrentIndex(provider->findData(int(c.provider)));
        Q_EMIT provider->activated(provider->currentIndex());
        EXPECT_EQ(text("aiTestHint"), c.provider == Intelligence::AIProvider::gemini
                                          ? "Tests with your entered API key (before applying)"
                                          : "Tests with your entered values (before applying)");
        if (c.answer) {
            http.enqueue(*c.answer);
        }
        find<QLineEdit>("aiKey")->setText(c.key);
        find<QPushButton>("aiTest")->click();
        settle();
        EXPECT_EQ(text("aiTestResult"), c.expected);
        EXPECT_EQ(Intelligence::AIProviderSettings::load(defaults).provider, Intelligence::AIProvider::none)
            << "a test applies nothing";
    }
}

TEST_F(SettingsWindowTest, ApplyingTheProviderKeepsTheKeyInTheKeyFileNotInTheSettings) {
    open();
    window->showPage(Page::ai);
    auto* provider = find<QComboBox>("aiProvider");
    provider->setCurrentIndex(provider->findData(int(Intelligence::AIProvider::gemini)));
    Q_EMIT provider->activated(provider->currentIndex());
    find<QLineEdit>("aiKey")->setText(" g-secret ");
    find<QPushButton>("aiApply")->click();
    EXPECT_EQ(Intelligence::AIProviderSettings::load(defaults).provider, Intelligence::AIProvider::gemini);
    EXPECT_EQ(Intelligence::AIKeyStore(home.path / "ai-keys.json").load().gemini, "g-secret");
}

TEST_F(SettingsWindowTest, SetUpOpensTheFirstPageThatStillNeedsTheUser) {
    struct Case {
        const char* name;
        bool calendars;
        bool reminders;
        bool engine;
        bool provider;
        Page expected;
    };
    const Case cases[] = {
        {"nothing set up", false, false, false, false, Page::calendars},
        {"calendars but reminders off", true, false, true, true, Page::calendars},
        {"no speech engine", true, true, false, false, Page::transcription},
        {"no AI provider", true, true, true, false, Page::ai},
        {"all set up", true, true, true, true, Page::calendars},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(
            Desktop::SettingsPages::firstNeedingAttention({c.calendars, c.reminders, c.engine, c.provider}),
            c.expected);
    }
    defaults.setBool(UI::CalendarReminderSettings::enabledKey, true);
    open();
    window->showPage(Page::updates);
    window->openSetup();
    EXPECT_EQ(window->currentPage(), Page::transcription);
    EXPECT_EQ(window->findChild<QStackedWidget*>("settingsStack")->currentWidget(),
              window->pageWidget(Page::transcription));
}

TEST_F(SettingsWindowTest, ClosingTheWindowOnlyHidesIt) {
    open();
    window->close();
    EXPECT_FALSE(window->isVisible());
    EXPECT_NE(window.get(), nullptr);
}

TEST_F(SettingsWindowTest, EveryNamedControlHasAnAccessibleName) {
    open();
    for (auto page : Desktop::SettingsPages::all) {
        window->showPage(page);
        settle();
        for (auto* w : window->pageWidget(page)->findChildren<QWidget*>()) {
            bool control = qobject_cast<QAbstractButton*>(w) || qobject_cast<QComboBox*>(w) ||
                           qobject_cast<QLineEdit*>(w);
            if (control && !w->objectName().isEmpty()) {
                // A button's own text is its accessible name when none is set.
                auto* button = qobject_cast<QAbstractButton*>(w);
                bool spoken = !w->accessibleName().isEmpty() || (button && !button->text().isEmpty());
                EXPECT_TRUE(spoken) << w->objectName().toStdString();
            }
        }
    }
}

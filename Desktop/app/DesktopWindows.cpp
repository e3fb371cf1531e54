#include "Desktop/app/DesktopWindows.h"

#include "Desktop/ai/ChatPanel.h"
#include "Desktop/calendar/MeetingCardWindow.h"
#include "Desktop/library/LibraryWindow.h"
#include "Desktop/library/RecordingPage.h"
#include "Desktop/loop/QtLoopBridge.h"
#include "Desktop/playback/RecordingPlayer.h"
#include "Desktop/settings/SettingsWindow.h"
#include "Desktop/settings/SpeechModelDownloads.h"
#include "Intelligence/AIService.h"
#include "Intelligence/FrameSearch.h"
#include "Intelligence/RAGPipeline.h"
#include "Intelligence/UnifiedSearchEngine.h"
#include "Platform/DisplayProbe.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "UI/ai/ChatViewModel.h"
#include "UI/aiapps/AIAppsHelperLocation.h"
#include "UI/library/LibraryViewModel.h"

#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QListView>
#include <QPixmap>
#include <QTabWidget>

#include <cstdlib>
#include <malloc.h>
#include <unistd.h>

namespace Desktop {

struct DesktopWindows::Impl {
    explicit Impl(Services s) : services(std::move(s)) {}

    Services services;
    std::unique_ptr<QApplication> app;
    std::unique_ptr<QtLoopBridge> bridge;
    std::unique_ptr<Intelligence::UnifiedSearchEngine> engine;
    std::unique_ptr<UI::LibraryViewModel> libraryModel;
    std::unique_ptr<LibraryWindow> library;
    std::unique_ptr<MeetingCardWindow> card;
    std::unique_ptr<Intelligence::RAGPipeline> pipeline;
    std::unique_ptr<UI::ChatViewModel> chatModel;
    std::unique_ptr<ChatPanel> chat;
    SettingsSources settingsSources;
    std::unique_ptr<Intelligence::SpeechModels> speechModels;
    std::unique_ptr<SpeechModelDownloads> downloads;
    std::unique_ptr<UI::AIServiceObservable> ai;
    std::unique_ptr<UI::AIAppsSettingsModel> aiApps;
    std::unique_ptr<SettingsWindow> settings;

    /// False when the host gave no HTTP client or process runner.
    bool makeSettings() {
        if (settings) {
            return true;
        }
        auto& sources = settingsSources;
        if (!sources.http || !sources.processes) {
            return false;
        }
        speechModels = std::make_unique<Intelligence::SpeechModels>();
        downloads = std::make_unique<SpeechModelDownloads>(*speechModels, *sources.http);
        ai = std::make_unique<UI::AIServiceObservable>(*sources.http, services.ai);
        UI::AIAppsSettingsModel::Dependencies apps;
        apps.environment = UI::MCPClientEnvironment::live();
        apps.helperPath = UI::AIAppsHelperLocation::current();
        apps.clipboard = sources.clipboard;
        apps.claude = std::make_shared<UI::ClaudeCLIRunner>(sources.processes, apps.environment.homeDirectory,
                                                            UI::ClaudeCLIRunner::environmentFromProcess());
        aiApps = std::make_unique<UI::AIAppsSettingsModel>(std::move(apps));
        auto& scheduler = services.scheduler;
        settings = std::make_unique<SettingsWindow>(
            SettingsServices{.defaults = services.defaults,
                             .center = services.center,
                             .calendars = settingsSources.calendars,
                             .devices = [] { return AudioEngine::PulseDevices::list(); },
                             .levelTest = [&scheduler]() { return levelTest(scheduler); },
                             .speechModels = *downloads,
                             .ai = *ai,
                             .keyFile = Intelligence::AIKeyStore::defaultPath(),
                             .aiApps = *aiApps,
                             .version = settingsSources.version,
                             .checkForUpdates = settingsSources.checkForUpdates});
        return true;
    }

    /// Five seconds of both tracks into a throwaway folder, as `vellmora audio test` records them.
    static Support::Task<std::vector<AudioEngine::PulseCapture::TrackReport>>
    levelTest(Support::Scheduler& scheduler) {
        AudioEngine::PulseCapture::Options options;
        options.silenceWindow = Support::Duration::zero();
        auto capture = std::make_shared<AudioEngine::PulseCapture>(options);
        auto folder = Support::Files::runtimeFolder() / ("vellmora-level-test-" + std::to_string(::getpid()));
        struct Cleanup {
            std::filesystem::path folder;
            ~Cleanup() {
                std::error_code ignored;
                std::filesystem::remove_all(folder, ignored);
            }
        } cleanup{folder};
        co_await capture->start(folder);
        co_await scheduler.sleepFor(Support::seconds(5));
        (void)co_await capture->stop();
        co_return capture->lastReport();
    }

    void makeLibrary() {
        if (library) {
            return;
        }
        engine = std::make_unique<Intelligence::UnifiedSearchEngine>(services.database);
        libraryModel = std::make_unique<UI::LibraryViewModel>(services.database, *engine, services.scheduler,
                                                              services.center);
        library = std::make_unique<LibraryWindow>(LibraryWindow::Context{
            *libraryModel, services.database, services.defaults, services.scheduler, services.dateContext,
            [](const std::string& text) {
                QGuiApplication::clipboard()->setText(QString::fromStdString(text));
            },
            &services.aiJobs,
            [&database = services.database, ai = services.ai]() -> std::optional<UI::AIGenerationClient> {
                if (!ai) {
                    return std::nullopt;
                }
                return UI::AIGenerationClient::live(database, *ai);
            },
            &RecordingPlayer::make});
        (void)libraryModel->loadRecordings();
        QObject::connect(library.get(), &LibraryWindow::closed, [this] { scheduleRelease(); });
    }

    Support::Task<void> release;

    void scheduleRelease() {
        release.cancel();
        release = Support::startTask([this]() -> Support::Task<void> {
            co_await services.scheduler.sleepFor(libraryReleaseDelay);
            if (library && !library->isVisible()) {
                library.reset();
                libraryModel.reset();
                engine.reset();
                // What the window, its rows and the search engine held goes back to the system.
                ::malloc_trim(0);
            }
        });
    }
};

namespace {
int argcStorage = 1;
char appName[] = "vellmora";
char* argvStorage[] = {appName, nullptr};
} // namespace

bool DesktopWindows::hasDisplay() {
    return Platform::DisplayProbe::hasDisplay();
}

DesktopWindows::DesktopWindows(Services services) : impl_(std::make_unique<Impl>(std::move(services))) {}

std::unique_ptr<DesktopWindows> DesktopWindows::connect(Services services,
                                                        const std::function<void(const std::string&)>& say) {
    if (!hasDisplay()) {
        say("No display: the windows are not available; the library and chat are in the `vellmora` "
            "commands.");
        return nullptr;
    }
    // Qt must dispatch through GLib for its loop to run inside ours, and start on the display just probed.
    unsetenv("QT_NO_GLIB");
    if (!Platform::DisplayProbe::explicitPlatform()) {
        setenv("QT_QPA_PLATFORM", "xcb", 1);
    }
    std::unique_ptr<DesktopWindows> windows(new DesktopWindows(std::move(services)));
    if (!QCoreApplication::instance()) {
        windows->impl_->app = std::make_unique<QApplication>(argcStorage, argvStorage);
    }
    QApplication::setApplicationName("Vellmora");
    QApplication::setQuitOnLastWindowClosed(false);
    windows->impl_->bridge = std::make_unique<QtLoopBridge>(windows->impl_->services.loop);
    if (!windows->impl_->bridge->isBridged()) {
        say("The windows are not available: this Qt does not use GLib's event loop.");
        return nullptr;
    }
    return windows;
}

DesktopWindows::~DesktopWindows() {
    impl_->release.cancel();
    impl_->settings.reset();
    impl_->aiApps.reset();
    impl_->ai.reset();
    impl_->downloads.reset();
    impl_->chat.reset();
    impl_->chatModel.reset();
    impl_->pipeline.reset();
    impl_->card.reset();
    impl_->library.reset();
    impl_->libraryModel.reset();
    impl_->engine.reset();
    impl_->bridge.reset();
    impl_->app.reset();
}

bool DesktopWindows::hasLibrary() const {
    return impl_->library != nullptr;
}

void DesktopWindows::openLibrary() {
    impl_->release.cancel();
    impl_->makeLibrary();
    impl_->library->show();
    impl_->library->raise();
    impl_->library->activateWindow();
}

void DesktopWindows::openRecording(Database::RecordingId id, std::optional<double> transcriptTime) {
    openLibrary();
    impl_->library->openRecording(id, transcriptTime);
}

bool DesktopWindows::openChat() {
    if (!impl_->chat) {
        auto* ai = impl_->services.ai;
        if (!ai) {
            return false;
        }
        impl_->pipeline = std::make_unique<Intelligence::RAGPipeline>(*ai, impl_->services.database);
        impl_->chatModel = std::make_unique<UI::ChatViewModel>(UI::ChatViewModel::live(
            *impl_->pipeline, impl_->services.database, std::make_shared<Intelligence::NoFrameSearch>()));
        impl_->chat = std::make_unique<ChatPanel>(*impl_->chatModel);
        impl_->chat->setWindowTitle(QObject::tr("AI Chat"));
        impl_->chat->resize(560, 720);
        impl_->chat->onOpenSource = [this](Database::RecordingId id, double time) {
            openRecording(id, time);
        };
    }
    impl_->chat->show();
    impl_->chat->raise();
    impl_->chat->activateWindow();
    return true;
}

void DesktopWindows::setSettingsSources(SettingsSources sources) {
    impl_->settingsSources = std::move(sources);
}

void DesktopWindows::openSettings() {
    if (!impl_->makeSettings()) {
        return;
    }
    impl_->settings->show();
    impl_->settings->raise();
    impl_->settings->activateWindow();
}

void DesktopWindows::openSetup() {
    if (!impl_->makeSettings()) {
        return;
    }
    impl_->settings->openSetup();
    openSettings();
}

SettingsWindow* DesktopWindows::settings() const {
    return impl_->settings.get();
}

void DesktopWindows::showCard(const UI::MeetingReminderCard& card,
                              UI::MeetingReminderPresenter::CardActionHandler onAction) {
    closeCard();
    impl_->card = std::make_unique<MeetingCardWindow>(card, impl_->services.scheduler, std::move(onAction));
    impl_->card->present();
}

void DesktopWindows::closeCard() {
    if (impl_->card) {
        // Later: the card may be closing from inside its own button's handler.
        impl_->card->hide();
        impl_->card.release()->deleteLater();
    }
}

LibraryWindow* DesktopWindows::library() const {
    return impl_->library.get();
}

MeetingCardWindow* DesktopWindows::card() const {
    return impl_->card.get();
}

std::vector<std::filesystem::path> DesktopWindows::writeScreenshots(const std::filesystem::path& folder,
                                                                    const std::string& suffix,
                                                                    const UI::MeetingReminderCard& card) {
    std::filesystem::create_directories(folder);
    std::vector<std::filesystem::path> written;
    auto settle = [this] {
        for (int i = 0; i < 200; ++i) {
            Support::BlockingWork::drain();
            QtLoopBridge::pump();
            if (impl_->services.loop.runUntilIdle() == 0) {
                Support::BlockingWork::drain();
                if (impl_->services.loop.runUntilIdle() == 0) {
                    QtLoopBridge::pump();
                    return;
                }
            }
        }
    };
    auto shoot = [&](QWidget* widget, const std::string& name) {
        settle();
        auto path = folder / (name + suffix + ".png");
        auto image = widget->grab();
        if (image.save(QString::fromStdString(path.string()))) {
            written.push_back(path);
        }
    };
    impl_->makeLibrary();
    auto* window = impl_->library.get();
    window->resize(1280, 800);
    window->show();
    settle();
    auto& recordings = impl_->libraryModel->recordings.get();
    if (!recordings.empty()) {
        // The recording with the most to show: the longest.
        auto best = std::max_element(recordings.begin(), recordings.end(),
                                     [](const auto& a, const auto& b) { return a.duration < b.duration; });
        window->openRecording(best->id);
        settle();
    }
    shoot(window, "library-summary");
    if (auto* page = window->page()) {
        page->tabs()->setCurrentIndex(1);
        shoot(window, "library-transcript");
    }
    window->hide();

    // The chat with a scripted answer: what a conversation looks like without reaching any AI provider.
    UI::ChatViewModel::Dependencies scripted;
    scripted.now = [this] { return impl_->services.scheduler.now(); };
    scripted.answer = [](std::string, Intelligence::ChatScope, std::string) {
        return Support::startTask([]() -> Support::Task<Intelligence::RAGPipeline::Answer> {
            auto stream =
                Intelligence::TextStream::make([](Intelligence::TextStream::Sink out) -> Support::Task<void> {
                    out.yield("The team agreed on three goals for the quarter [1]:\n\n");
                    out.yield(
                        "- **Offline mode**, owned by Sam\n- **One-screen onboarding**, drafted by Ana\n");
                    out.yield("- Halving crash reports\n");
                    out.finish();
                    co_return;
                });
            Intelligence::AnswerSources sources;
            sources.all.push_back(
                {1, 1, "Quarterly planning", 0, 2, "Alex", "Let's start with the goals for the quarter."});
            co_return Intelligence::RAGPipeline::Answer{stream, sources};
        });
    };
    UI::ChatViewModel chatModel(scripted);
    ChatPanel chatPanel(chatModel);
    chatPanel.resize(560, 720);
    chatPanel.show();
    chatModel.inputText.set("What did we decide about the quarter?");
    chatModel.sendMessage();
    shoot(&chatPanel, "chat");
    chatPanel.hide();

    MeetingCardWindow cardWindow(card, impl_->services.scheduler, nullptr);
    cardWindow.resize(1280, 800);
    cardWindow.show();
    shoot(&cardWindow, "meeting-card");
    cardWindow.hide();

    // Every settings page, over demo calendars and devices, with nothing of the user's read or written: the
    // key file, the speech models and the AI apps' home folder are in a scratch folder.
    const auto& sources = impl_->settingsSources;
    if (!sources.http || !sources.processes) {
        return written;
    }
    auto scratch = Support::Files::runtimeFolder() / ("vellmora-screenshots-" + std::to_string(::getpid()));
    Intelligence::SpeechModels models(scratch / "models");
    SpeechModelDownloads downloads(models, *sources.http);
    UI::AIServiceObservable ai(*sources.http, nullptr);
    UI::AIAppsSettingsModel::Dependencies apps;
    apps.environment = UI::MCPClientEnvironment::live(scratch / "home");
    apps.helperPath = std::filesystem::path("/usr/libexec/vellmora/vellmora-mcp");
    apps.clipboard = sources.clipboard;
    apps.claude = std::make_shared<UI::ClaudeCLIRunner>(sources.processes, scratch / "home",
                                                        std::map<std::string, std::string>{});
    UI::AIAppsSettingsModel aiApps(std::move(apps));
    auto demoCalendar = [](const char* id, const char* title, const char* account,
                           UI::CalendarSourceKind kind) {
        UI::CalendarInfo info;
        info.id = id;
        info.title = title;
        info.sourceID = account;
        info.sourceTitle = account;
        info.sourceKind = kind;
        return info;
    };
    SettingsWindow settingsWindow(SettingsServices{
        .defaults = impl_->services.defaults,
        .center = impl_->services.center,
        .calendars =
            [&] {
                return std::vector<UI::CalendarInfo>{
                    demoCalendar("work", "Work", "ana@example.com", UI::CalendarSourceKind::calDAV),
                    demoCalendar("family", "Family", "ana@example.com", UI::CalendarSourceKind::calDAV),
                    demoCalendar("team", "Team meetings", "Northwind (Exchange)",
                                 UI::CalendarSourceKind::exchange),
                    demoCalendar("holidays", "Holidays", "", UI::CalendarSourceKind::subscribed)};
            },
        .devices =
            [] {
                return AudioEngine::PulseDevices{
                    "PipeWire",
                    {{"alsa_input.usb-headset", "USB Headset Microphone", true},
                     {"alsa_input.pci-analog", "Built-in Audio Analog Stereo", false}},
                    {{"alsa_output.usb-headset", "USB Headset", true},
                     {"alsa_output.pci-hdmi", "HDMI / DisplayPort", false}}};
            },
        .levelTest = {},
        .speechModels = downloads,
        .ai = ai,
        .keyFile = scratch / "ai-keys.json",
        .aiApps = aiApps,
        .version = sources.version,
        .checkForUpdates = [] {}});
    settingsWindow.resize(1280, 800);
    settingsWindow.show();
    for (auto page : SettingsPages::all) {
        settingsWindow.showPage(page);
        std::string slug(SettingsPages::title(page));
        std::transform(slug.begin(), slug.end(), slug.begin(),
                       [](char c) { return c == ' ' ? '-' : static_cast<char>(std::tolower(c)); });
        shoot(&settingsWindow, "settings-" + slug);
    }
    settingsWindow.hide();
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
    return written;
}

} // namespace Desktop

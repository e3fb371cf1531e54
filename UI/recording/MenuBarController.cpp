#include "UI/recording/MenuBarController.h"

#include "Support/Log.h"
#include "UI/recording/ProcessingNotifications.h"
#include "UI/recording/RecordingPhaseMachine.h"
#include "UI/updates/UpdateCheckCoordinator.h"

#include <cmath>
#include <fmt/format.h>

namespace UI {

namespace {

const Support::Logger& logger() {
    static const Support::Logger log("menu");
    return log;
}

using PhaseKind = RecordingPhase::Kind;
PhaseKind kindOf(const RecordingPhase& phase) {
    return phase.kind;
}

int percentOf(double fraction) {
    if (!(fraction > 0)) {
        return 0;
    }
    // The small nudge keeps 0.29 from reading as 28 after the multiplication.
    return static_cast<int>(std::floor(std::min(fraction, 1.0) * 100.0 + 1e-9));
}

Platform::MenuItem entry(std::string title, std::string key, std::string symbol, std::string action,
                         bool enabled = true) {
    Platform::MenuItem item;
    item.title = std::move(title);
    item.keyEquivalent = std::move(key);
    item.symbolName = std::move(symbol);
    item.action = std::move(action);
    item.isEnabled = enabled;
    return item;
}

Platform::MenuItem disabledText(std::string title) {
    Platform::MenuItem item;
    item.title = std::move(title);
    item.isEnabled = false;
    return item;
}

} // namespace

std::optional<std::string> MenuBarController::RecordingAvailability::unavailableMessage() const {
    switch (kind) {
    case Kind::unavailable:
        return message;
    case Kind::starting:
        return std::string("Vellmora is still starting up. Try again in a moment.");
    case Kind::ready:
        break;
    }
    return std::nullopt;
}

MenuBarController::MenuBarController(Environment environment) : env_(std::move(environment)) {}

MenuBarController::~MenuBarController() = default;

void MenuBarController::setupMenuBar() {
    if (isSetUp_) {
        return;
    }
    isSetUp_ = true;
    cancellables_ += env_.statusItem.willOpen.connect([this] {
        menuWillOpen();
        menuNeedsUpdate();
    });
    cancellables_ += env_.statusItem.didClose.connect([this] { menuDidClose(); });
    cancellables_ +=
        env_.statusItem.activated.connect([this](const Platform::MenuItem& item) { handleActivation(item); });
    observeNotifications();
    updateStatusIcon();
    rebuildMenu();
}

void MenuBarController::observeNotifications() {
    namespace N = ProcessingNotifications;
    auto& center = env_.center;
    cancellables_ += center.observe(N::processingStarted, [this](const Support::Notification& n) {
        if (auto type = n.value("type")) {
            activeProcessing_.insert(*type);
            updateStatusIcon();
            rebuildMenu();
        }
    });
    cancellables_ += center.observe(N::processingCompleted, [this](const Support::Notification& n) {
        if (auto type = n.value("type")) {
            activeProcessing_.erase(*type);
            if (*type == "transcription") {
                speechModelDownloadProgress_.reset();
            } else if (*type == "indexing") {
                videoIndexingProgress_.reset();
            }
            updateStatusIcon();
            rebuildMenu();
        }
    });
    cancellables_ += center.observe(N::processingQueueChanged, [this](const Support::Notification& n) {
        auto count = [&](const char* key) {
            try {
                return std::max(0, std::stoi(n.value(key).value_or("0")));
            } catch (const std::exception&) {
                return 0;
            }
        };
        queuedTranscriptions_ = count("queuedTranscriptions");
        queuedAIGenerations_ = count("queuedAIGenerations");
        rebuildMenu();
    });
    cancellables_ += center.observe(N::speechModelDownloadProgress, [this](const Support::Notification& n) {
        speechModelDownloadProgress_ = N::progressOf(n);
        rebuildMenu();
    });
    cancellables_ += center.observe(N::videoIndexingProgress, [this](const Support::Notification& n) {
        videoIndexingProgress_ = N::progressOf(n);
        rebuildMenu();
    });
    cancellables_ += env_.defaults.changed.connect([this](const std::string& key) {
        if (key == remindersEnabledKey || key == aiFeaturesEnabledKey || key == autoRecordKey) {
            rebuildMenu();
        }
    });
}

void MenuBarController::setRecordingAvailability(RecordingAvailability availability) {
    recordingAvailability_ = std::move(availability);
    updateStatusIcon();
    rebuildMenu();
}

void MenuBarController::setRecording(bool isRecording) {
    setPhase(RecordingPhaseMachine::reduce(
        phase_, isRecording ? RecordingPhaseEvent::captureStarted(env_.scheduler.now())
                            : RecordingPhaseEvent::reset()));
}

void MenuBarController::setPhase(RecordingPhase phase) {
    phase_ = std::move(phase);
    recordingTimer_.reset();
    if (kindOf(phase_) == PhaseKind::recording) {
        recordingTimer_ = env_.scheduler.every(recordingTimerInterval, [this] { rebuildMenu(); });
    }
    updateStatusIcon();
    rebuildMenu();
}

void MenuBarController::setMonitoring(bool isMonitoring, std::optional<std::string> appName) {
    isMonitoring_ = isMonitoring;
    monitoredAppName_ = std::move(appName);
    updateStatusIcon();
    rebuildMenu();
}

void MenuBarController::setCaptureWarning(std::optional<std::string> warning) {
    if (warning == captureWarning_) {
        return;
    }
    captureWarning_ = std::move(warning);
    rebuildMenu();
}

void MenuBarController::setUpcomingMeetings(std::vector<CalendarMeeting> meetings) {
    upcomingMeetings_ = std::move(meetings);
    rebuildMenu();
}

void MenuBarController::setReminderCoordinatorRunning(bool isRunning) {
    reminderCoordinatorRunning_ = isRunning;
    rebuildMenu();
}

void MenuBarController::attachUpdateCoordinator(UpdateCheckCoordinator& coordinator) {
    updateCoordinator_ = &coordinator;
    updateCheckAvailable_ = true;
    cancellables_ += coordinator.offeredRelease.sink([this](const std::optional<AppStoreRelease>& release) {
        offeredUpdateVersion_ = release ? std::optional(release->version) : std::nullopt;
        rebuildMenu();
    });
}

void MenuBarController::setUpdateCheckAvailable(bool available) {
    updateCheckAvailable_ = available;
    rebuildMenu();
}

void MenuBarController::setDirectUpdate(std::optional<std::string> version, bool restartPending) {
    directUpdateVersion_ = std::move(version);
    directUpdateRestartPending_ = restartPending;
    rebuildMenu();
}

// --- Actions
// ------------------------------------------------------------------------------------------------

void MenuBarController::startRecording() {
    if (recordingAvailability_.kind != RecordingAvailability::Kind::ready) {
        return;
    }
    if (auto d = delegate()) {
        d->startRecording();
    }
}

void MenuBarController::stopRecording() {
    if (auto d = delegate()) {
        d->stopRecording();
    }
}

void MenuBarController::insertMarker() {
    if (auto d = delegate()) {
        d->insertMarker();
    }
}

void MenuBarController::openLibrary() {
    if (auto d = delegate()) {
        d->openLibrary();
    }
}

void MenuBarController::openActionItems() {
    if (auto d = delegate()) {
        d->openActionItems();
    }
}

void MenuBarController::toggleAIChat() {
    if (auto d = delegate()) {
        d->toggleAIChat();
    }
}

void MenuBarController::openSettings() {
    env_.center.post(openSettingsWindowNotification);
}

void MenuBarController::openSetup() {
    env_.defaults.setBool(setupBegunKey, true);
    env_.center.post(openSetupWindowNotification);
}

void MenuBarController::joinUpNext(const UpNextMenuItem& item, bool record) {
    if (auto d = delegate()) {
        d->joinMeeting(item.meeting, record);
    }
}

void MenuBarController::checkForUpdates() {
    if (auto d = delegate()) {
        d->checkForUpdates();
    }
}

void MenuBarController::showAvailableUpdate() {
    if (updateCoordinator_) {
        updateCoordinator_->showAvailableUpdate();
    }
}

void MenuBarController::restartToFinishUpdating() {
    if (auto d = delegate()) {
        d->restartToFinishUpdating();
    }
}

void MenuBarController::showWhatsNew() {
    if (auto d = delegate()) {
        d->showWhatsNew();
    }
}

void MenuBarController::reportProblem() {
    env_.center.post(openReportProblemWindowNotification);
}

void MenuBarController::quit() {
    if (auto d = delegate()) {
        d->quit();
    }
}

void MenuBarController::handleActivation(const Platform::MenuItem& item) {
    if (!validateMenuItem(item)) {
        return;
    }
    const std::string& a = item.action;
    logger().debug("Menu entry \"{}\" chosen", item.title);
    if (a == startRecordingAction) {
        startRecording();
    } else if (a == stopRecordingAction) {
        stopRecording();
    } else if (a == insertMarkerAction) {
        insertMarker();
    } else if (a == openLibraryAction) {
        openLibrary();
    } else if (a == openActionItemsAction) {
        openActionItems();
    } else if (a == toggleAIChatAction) {
        toggleAIChat();
    } else if (a == openSettingsAction) {
        openSettings();
    } else if (a == openSetupAction) {
        openSetup();
    } else if (a == joinUpNextAction) {
        if (item.tag >= 0 && static_cast<size_t>(item.tag) < upNextItems_.size()) {
            joinUpNext(upNextItems_[static_cast<size_t>(item.tag)],
                       item.representedObject == joinAndRecordChoice);
        }
    } else if (a == checkForUpdatesAction) {
        checkForUpdates();
    } else if (a == showAvailableUpdateAction) {
        showAvailableUpdate();
    } else if (a == restartToFinishUpdatingAction) {
        restartToFinishUpdating();
    } else if (a == showWhatsNewAction) {
        showWhatsNew();
    } else if (a == reportProblemAction) {
        reportProblem();
    } else if (a == quitAction) {
        quit();
    }
}

// --- Menu delegate
// ------------------------------------------------------------------------------------------

void MenuBarController::menuWillOpen() {
    isMenuOpen_ = true;
}

void MenuBarController::menuDidClose() {
    isMenuOpen_ = false;
    if (needsMenuRebuild_) {
        needsMenuRebuild_ = false;
        rebuildMenu();
    }
}

void MenuBarController::menuNeedsUpdate() {
    refreshUpNextLabels();
    for (auto& item : menu_.items) {
        if (item.kind == Platform::MenuItem::Kind::action && !item.action.empty()) {
            item.isEnabled = validateMenuItem(item);
        }
    }
    env_.statusItem.setMenu(menu_);
}

bool MenuBarController::validateMenuItem(const Platform::MenuItem& item) const {
    if (item.action == startRecordingAction) {
        return recordingAvailability_.kind == RecordingAvailability::Kind::ready;
    }
    if (item.action == stopRecordingAction) {
        const auto kind = kindOf(phase_);
        return kind == PhaseKind::recording || kind == PhaseKind::starting;
    }
    if (item.action == toggleAIChatAction) {
        // Kept as built: a chat with AI switched off would only show an error.
        return env_.defaults.boolean(aiFeaturesEnabledKey).value_or(true);
    }
    return true;
}

void MenuBarController::refreshUpNextLabels() {
    const auto now = env_.scheduler.now();
    for (auto& item : upNextItems_) {
        item.label = UpNextMenuItems::label(item.meeting, now, env_.timeZoneID, env_.localeID);
    }
    for (auto& entry : menu_.items) {
        if (entry.action != joinUpNextAction || entry.tag < 0 ||
            static_cast<size_t>(entry.tag) >= upNextItems_.size()) {
            continue;
        }
        const auto& label = upNextItems_[static_cast<size_t>(entry.tag)].label;
        if (!entry.isAlternate) {
            entry.title = label;
        } else {
            const bool recordFirst = env_.defaults.boolean(autoRecordKey).value_or(true);
            entry.title = label + (recordFirst ? " — Join only" : " — Join & Record");
        }
    }
}

// --- Building
// -----------------------------------------------------------------------------------------------

void MenuBarController::rebuildMenu() {
    if (!isSetUp_) {
        return;
    }
    if (isMenuOpen_) {
        needsMenuRebuild_ = true;
        return;
    }
    menu_ = buildMenu();
    env_.statusItem.setMenu(menu_);
}

void MenuBarController::updateStatusIcon() {
    if (isSetUp_) {
        env_.statusItem.setIcon(statusIcon());
    }
}

Platform::StatusIcon MenuBarController::statusIcon() const {
    return statusIcon(phase_, !activeProcessing_.empty(), isMonitoring_);
}

bool MenuBarController::upNextVisible() const {
    return env_.defaults.boolean(remindersEnabledKey).value_or(false) && reminderCoordinatorRunning_;
}

void MenuBarController::appendUpNext(std::vector<Platform::MenuItem>& items) {
    upNextItems_.clear();
    if (!upNextVisible()) {
        return;
    }
    upNextItems_ =
        UpNextMenuItems::items(upcomingMeetings_, env_.scheduler.now(), env_.timeZoneID, env_.localeID);
    if (upNextItems_.empty()) {
        return;
    }
    items.push_back(disabledText(UpNextMenuItems::sectionTitle));
    const bool recordFirst = env_.defaults.boolean(autoRecordKey).value_or(true);
    auto joinEntry = [](const std::string& title, const char* symbol, const char* toolTip, int tag,
                        bool record) {
        auto e = entry(title, "", symbol, joinUpNextAction);
        e.toolTip = toolTip;
        e.tag = tag;
        e.representedObject = record ? joinAndRecordChoice : joinOnlyChoice;
        return e;
    };
    for (size_t i = 0; i < upNextItems_.size(); ++i) {
        const auto& label = upNextItems_[i].label;
        const int tag = static_cast<int>(i);
        auto record = joinEntry(label, "record.circle", "Opens the meeting and records it.", tag, true);
        auto joinOnly = joinEntry(label, "video", "Opens the meeting without recording it.", tag, false);
        if (recordFirst) {
            joinOnly.title = label + " — Join only";
            joinOnly.isAlternate = true;
            items.push_back(std::move(record));
            items.push_back(std::move(joinOnly));
        } else {
            record.title = label + " — Join & Record";
            record.isAlternate = true;
            items.push_back(std::move(joinOnly));
            items.push_back(std::move(record));
        }
    }
    items.push_back(Platform::MenuItem::separator());
}

Platform::Menu MenuBarController::buildMenu() {
    using Platform::MenuItem;
    std::vector<MenuItem> items;
    const auto now = env_.scheduler.now();

    MenuItem headerItem;
    headerItem.kind = MenuItem::Kind::header;
    headerItem.isEnabled = false;
    headerItem.header = header(
        phase_, now, isMonitoring_, monitoredAppName_, recordingAvailability_,
        activeProcessing_.empty()
            ? std::nullopt
            : processingStatusText(activeProcessing_, speechModelDownloadProgress_, videoIndexingProgress_));
    items.push_back(std::move(headerItem));
    items.push_back(MenuItem::separator());

    if (kindOf(phase_) == PhaseKind::idle) {
        const bool ready = recordingAvailability_.kind == RecordingAvailability::Kind::ready;
        items.push_back(entry("Start Recording", "r", "record.circle", startRecordingAction, ready));
        if (auto message = recordingAvailability_.unavailableMessage()) {
            items.push_back(disabledText(*message));
        }
    } else {
        const auto control = recordingMenuControl(phase_);
        items.push_back(entry(control.title, control.isEnabled ? "s" : "", control.iconName,
                              stopRecordingAction, control.isEnabled));
        if (control.isRecording) {
            items.push_back(entry("Mark Moment", "m", "bookmark.fill", insertMarkerAction));
        }
        if (captureWarning_) {
            items.push_back(disabledText(*captureWarning_));
        }
    }
    items.push_back(MenuItem::separator());

    appendUpNext(items);

    items.push_back(entry("Open Library", "l", "rectangle.stack.fill", openLibraryAction));
    items.push_back(entry("Action Items...", "", "checklist", openActionItemsAction));
    items.push_back(MenuItem::separator());
    items.push_back(entry("AI Chat", "", "sparkles", toggleAIChatAction,
                          env_.defaults.boolean(aiFeaturesEnabledKey).value_or(true)));
    items.push_back(entry("Set Up Vellmora...", "", "checklist", openSetupAction));

    const auto offered = directUpdateVersion_ ? directUpdateVersion_ : offeredUpdateVersion_;
    for (const auto& support : supportItems(updateCheckAvailable_ || directUpdateVersion_.has_value(),
                                            offered, directUpdateRestartPending_)) {
        switch (support.kind) {
        case SupportItem::Kind::restartToFinishUpdating:
            items.push_back(entry("Restart to Finish Updating Vellmora...", "", "arrow.clockwise.circle.fill",
                                  restartToFinishUpdatingAction));
            break;
        case SupportItem::Kind::updateAvailable:
            items.push_back(entry("Update Available: Vellmora " + support.version, "",
                                  "arrow.down.circle.fill", showAvailableUpdateAction));
            break;
        case SupportItem::Kind::checkForUpdates:
            items.push_back(entry("Check for Updates...", "", "arrow.down.circle", checkForUpdatesAction));
            break;
        case SupportItem::Kind::whatsNew:
            items.push_back(entry("What's New...", "", "sparkles", showWhatsNewAction));
            break;
        case SupportItem::Kind::reportProblem:
            items.push_back(entry("Report a Problem...", "", "", reportProblemAction));
            break;
        }
    }

    items.push_back(MenuItem::separator());
    items.push_back(entry("Settings", ",", "gearshape.fill", openSettingsAction));
    items.push_back(MenuItem::separator());
    items.push_back(entry("Quit Vellmora", "q", "power", quitAction));
    items.push_back(MenuItem::separator());
    MenuItem footer;
    footer.kind = MenuItem::Kind::footer;
    footer.isEnabled = false;
    footer.footerText = env_.footerText;
    items.push_back(std::move(footer));
    return Platform::Menu{std::move(items)};
}

// --- Pure decisions
// -----------------------------------------------------------------------------------------

MenuBarController::RecordingMenuControl MenuBarController::recordingMenuControl(const RecordingPhase& phase) {
    switch (kindOf(phase)) {
    case PhaseKind::recording:
        return {"Stop Recording", "stop.circle.fill", true, true};
    case PhaseKind::starting:
        return {"Stop Recording", "stop.circle.fill", true, false};
    case PhaseKind::saving:
        return {"Saving…", "hourglass", false, false};
    case PhaseKind::idle:
        break;
    }
    return {"Stop Recording", "stop.circle.fill", false, false};
}

std::optional<MenuBarController::RecordingHeaderStatus>
MenuBarController::recordingHeaderStatus(const RecordingPhase& phase, Support::Date now) {
    switch (kindOf(phase)) {
    case PhaseKind::recording: {
        auto elapsed = now - *phase.startedAt();
        return RecordingHeaderStatus{"Recording...",
                                     durationText(std::max(elapsed, Support::Duration::zero())), true};
    }
    case PhaseKind::saving:
        return RecordingHeaderStatus{"Saving recording…", std::nullopt, false};
    case PhaseKind::starting:
        return RecordingHeaderStatus{"Starting recording…", std::nullopt, false};
    case PhaseKind::idle:
        break;
    }
    return std::nullopt;
}

std::string MenuBarController::durationText(Support::Duration duration) {
    const auto total =
        std::max<long long>(0, std::chrono::duration_cast<std::chrono::seconds>(duration).count());
    const long long h = total / 3600;
    const long long m = (total % 3600) / 60;
    const long long s = total % 60;
    return h > 0 ? fmt::format("{}:{:02}:{:02}", h, m, s) : fmt::format("{}:{:02}", m, s);
}

std::string MenuBarController::speechModelDownloadText(double p) {
    return "Downloading speech models " + std::to_string(percentOf(p)) + "%";
}

std::string MenuBarController::videoIndexingText(std::optional<double> progress) {
    if (!progress || !std::isfinite(*progress)) {
        return "Indexing video";
    }
    return "Indexing video " + std::to_string(percentOf(*progress)) + "%";
}

std::optional<std::string>
MenuBarController::processingStatusText(const std::set<std::string>& active,
                                        std::optional<double> speechModelDownloadProgress,
                                        std::optional<double> videoIndexing) {
    std::vector<std::string> parts;
    bool onlyDownload = false;
    if (active.count("transcription")) {
        if (speechModelDownloadProgress) {
            parts.push_back("Speech models " + std::to_string(percentOf(*speechModelDownloadProgress)) + "%");
            onlyDownload = true;
        } else {
            parts.emplace_back("Transcribing");
        }
    }
    if (active.count("summary")) {
        parts.emplace_back("Summarizing");
    }
    if (active.count("actionItems")) {
        parts.emplace_back("Extracting actions");
    }
    if (active.count("video")) {
        parts.emplace_back("Preparing video");
    }
    const bool indexing = active.count("indexing") > 0;
    if (indexing) {
        parts.push_back(videoIndexingText(videoIndexing));
    }
    if (parts.empty()) {
        return std::nullopt;
    }
    if (parts.size() == 1 && onlyDownload) {
        return speechModelDownloadText(*speechModelDownloadProgress);
    }
    if (parts.size() == 1 && indexing) {
        return parts.front();
    }
    std::string text;
    for (size_t i = 0; i < parts.size(); ++i) {
        text += (i > 0 ? ", " : "") + parts[i];
    }
    return text + "...";
}

std::vector<MenuBarController::SupportItem>
MenuBarController::supportItems(bool updateCheckAvailable, const std::optional<std::string>& offeredVersion,
                                bool restartPending) {
    std::vector<SupportItem> items;
    if (updateCheckAvailable) {
        if (restartPending) {
            items.push_back({SupportItem::Kind::restartToFinishUpdating});
        }
        if (offeredVersion) {
            items.push_back({SupportItem::Kind::updateAvailable, *offeredVersion});
        }
        items.push_back({SupportItem::Kind::checkForUpdates});
    }
    items.push_back({SupportItem::Kind::whatsNew});
    items.push_back({SupportItem::Kind::reportProblem});
    return items;
}

Platform::MenuHeaderView MenuBarController::header(const RecordingPhase& phase, Support::Date now,
                                                   bool isMonitoring,
                                                   const std::optional<std::string>& monitoredAppName,
                                                   const RecordingAvailability& availability,
                                                   const std::optional<std::string>& processingText) {
    Platform::MenuHeaderView view;
    view.title = "Vellmora";
    view.processing = processingText;
    if (auto status = recordingHeaderStatus(phase, now)) {
        view.status = status->text;
        view.duration = status->durationText;
        view.statusColor =
            status->isRecording ? Platform::MenuColor::red : Platform::MenuColor::secondaryLabel;
    } else if (!isMonitoring) {
        switch (availability.kind) {
        case RecordingAvailability::Kind::starting:
            view.status = "Starting...";
            break;
        case RecordingAvailability::Kind::ready:
            view.status = "Ready";
            break;
        case RecordingAvailability::Kind::unavailable:
            view.status = "Can't record";
            break;
        }
    } else {
        view.status = monitoredAppName ? "Monitoring " + *monitoredAppName : std::string("Monitoring...");
        view.statusColor = Platform::MenuColor::orange;
    }
    return view;
}

Platform::StatusIcon MenuBarController::statusIcon(const RecordingPhase& phase, bool processingActive,
                                                   bool isMonitoring) {
    const auto kind = kindOf(phase);
    if (kind == PhaseKind::recording) {
        return {"waveform.circle.fill", false, Platform::MenuColor::red, "Vellmora"};
    }
    if (kind == PhaseKind::saving || processingActive) {
        return {"gearshape.circle.fill", false, Platform::MenuColor::blue, "Vellmora"};
    }
    if (isMonitoring) {
        return {"waveform.badge.magnifyingglass", false, Platform::MenuColor::orange, "Vellmora"};
    }
    return {"waveform.circle", true, Platform::MenuColor::label, "Vellmora"};
}

} // namespace UI

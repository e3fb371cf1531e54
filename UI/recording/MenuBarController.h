// Owns the status item (menu bar icon, tray) and the menu that opens from it. Main loop only.
//
// The menu is rebuilt from scratch from the controller's state after every change: a status header, the
// record/stop entries, today's next meetings ("Up Next"), the navigation entries, the update and support
// entries, Settings and Quit, and a footer. While the menu is open a rebuild is deferred until it closes;
// just before it opens, the Up Next labels are refreshed for the current time and every entry with an
// action is re-validated. While recording, a 5-second timer on the scheduler rebuilds the menu so the
// header's duration advances.
//
// Actions go to the delegate (the host), held weakly, or are posted as notifications (window requests).
// The pure decisions are static functions so they can be checked without a status item.
#pragma once

#include "Platform/Menu.h"
#include "Platform/StatusItem.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/recording/RecordingPhase.h"
#include "UI/recording/UpNextMenuItems.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UI {

class UpdateCheckCoordinator;

/// What the host does for the menu.
class MenuBarControllerDelegate {
public:
    virtual ~MenuBarControllerDelegate() = default;
    virtual void startRecording() = 0;
    virtual void stopRecording() = 0;
    virtual void insertMarker() = 0;
    virtual void openLibrary() = 0;
    virtual void openActionItems() = 0;
    virtual void toggleAIChat() = 0;
    /// Opens the meeting; `record` says whether to record it too.
    virtual void joinMeeting(const CalendarMeeting& meeting, bool record) = 0;
    virtual void checkForUpdates() = 0;
    virtual void restartToFinishUpdating() = 0;
    virtual void showWhatsNew() = 0;
    virtual void quit() = 0;
};

class MenuBarController {
public:
    struct RecordingAvailability {
        enum class Kind { unavailable, starting, ready };
        Kind kind = Kind::starting;
        std::string message{};

        static RecordingAvailability unavailable(std::string message) {
            return {Kind::unavailable, std::move(message)};
        }
        static RecordingAvailability starting() { return {Kind::starting, {}}; }
        static RecordingAvailability ready() { return {Kind::ready, {}}; }
        /// The text shown when recording cannot start now; nothing when ready.
        std::optional<std::string> unavailableMessage() const;
        bool operator==(const RecordingAvailability&) const = default;
    };

    struct SupportItem {
        enum class Kind {
            updateAvailable,
            restartToFinishUpdating,
            checkForUpdates,
            whatsNew,
            reportProblem
        };
        Kind kind;
        std::string version{};
        bool operator==(const SupportItem&) const = default;
    };

    struct RecordingMenuControl {
        std::string title;
        std::string iconName;
        bool isEnabled;
        bool isRecording;
        bool operator==(const RecordingMenuControl&) const = default;
    };

    struct RecordingHeaderStatus {
        std::string text;
        std::optional<std::string> durationText;
        bool isRecording;
        bool operator==(const RecordingHeaderStatus&) const = default;
    };

    // Action names carried by the menu entries.
    static constexpr const char* startRecordingAction = "startRecording";
    static constexpr const char* stopRecordingAction = "stopRecording";
    static constexpr const char* insertMarkerAction = "insertMarker";
    static constexpr const char* openLibraryAction = "openLibrary";
    static constexpr const char* openActionItemsAction = "openActionItems";
    static constexpr const char* toggleAIChatAction = "toggleAIChat";
    static constexpr const char* openSettingsAction = "openSettings";
    static constexpr const char* openSetupAction = "openSetup";
    static constexpr const char* joinUpNextAction = "joinUpNext";
    static constexpr const char* checkForUpdatesAction = "checkForUpdates";
    static constexpr const char* showAvailableUpdateAction = "showAvailableUpdate";
    static constexpr const char* restartToFinishUpdatingAction = "restartToFinishUpdating";
    static constexpr const char* showWhatsNewAction = "showWhatsNew";
    static constexpr const char* reportProblemAction = "reportProblem";
    static constexpr const char* quitAction = "quit";

    // Window requests and preferences the menu uses.
    static constexpr const char* openSetupWindowNotification = "dev.tessadine.vellmora.openSetupWindow";
    static constexpr const char* openReportProblemWindowNotification =
        "dev.tessadine.vellmora.openReportProblemWindow";
    static constexpr const char* openSettingsWindowNotification = "dev.tessadine.vellmora.openSettingsWindow";
    static constexpr const char* setupBegunKey = "setup.hasBegun";
    static constexpr const char* aiFeaturesEnabledKey = "ai.featuresEnabled";
    static constexpr const char* autoRecordKey = "autoRecord";
    static constexpr const char* remindersEnabledKey = "calendar.remindersEnabled";
    /// Represented objects of the Up Next entries.
    static constexpr const char* joinAndRecordChoice = "joinAndRecord";
    static constexpr const char* joinOnlyChoice = "joinOnly";

    static constexpr Support::Duration recordingTimerInterval = Support::seconds(5);

    struct Environment {
        Platform::StatusItem& statusItem;
        Support::Scheduler& scheduler;
        Support::NotificationCenter& center;
        Support::UserDefaults& defaults;
        /// Olson id and ICU locale id for the Up Next times.
        std::string timeZoneID = "UTC";
        std::string localeID = "en_US";
        /// The footer's text ("Vellmora 1.4.0").
        std::string footerText = "Vellmora";
    };

    explicit MenuBarController(Environment environment);
    ~MenuBarController();
    MenuBarController(const MenuBarController&) = delete;
    MenuBarController& operator=(const MenuBarController&) = delete;

    /// Sets the icon, builds the menu, hands both to the status item and starts observing. Once.
    void setupMenuBar();

    void setRecordingAvailability(RecordingAvailability availability);
    void setRecording(bool isRecording);
    void setPhase(RecordingPhase phase);
    void setMonitoring(bool isMonitoring, std::optional<std::string> appName = std::nullopt);
    /// A problem with the running recording ("Vellmora hears nothing from the call: check the output
    /// device"), shown under the stop entry while recording; nothing clears it.
    void setCaptureWarning(std::optional<std::string> warning);
    void setUpcomingMeetings(std::vector<CalendarMeeting> meetings);
    /// Whether the reminder coordinator runs (Up Next shows only then, and with reminders enabled).
    void setReminderCoordinatorRunning(bool isRunning);
    /// Hands update offers to the menu and "Update Available" back to the coordinator.
    void attachUpdateCoordinator(UpdateCheckCoordinator& coordinator);
    void setDirectUpdate(std::optional<std::string> version, bool restartPending);
    /// Whether "Check for Updates..." is offered (set by `attachUpdateCoordinator`; the command line sets it
    /// to show the menu as the host would).
    void setUpdateCheckAvailable(bool available);
    void setDelegate(std::weak_ptr<MenuBarControllerDelegate> delegate) { delegate_ = std::move(delegate); }

    // Menu actions.
    void startRecording();
    void stopRecording();
    void insertMarker();
    void openLibrary();
    void openActionItems();
    void toggleAIChat();
    void openSettings();
    void openSetup();
    void joinUpNext(const UpNextMenuItem& item, bool record);
    void checkForUpdates();
    void showAvailableUpdate();
    void restartToFinishUpdating();
    void showWhatsNew();
    void reportProblem();
    void quit();

    // Menu delegate.
    void menuWillOpen();
    void menuDidClose();
    void menuNeedsUpdate();
    bool validateMenuItem(const Platform::MenuItem& item) const;

    // State, for the host, the terminal and tests.
    const Platform::Menu& menu() const { return menu_; }
    Platform::StatusIcon statusIcon() const;
    bool isMenuOpen() const { return isMenuOpen_; }
    bool needsMenuRebuild() const { return needsMenuRebuild_; }
    const RecordingPhase& phase() const { return phase_; }
    const RecordingAvailability& recordingAvailability() const { return recordingAvailability_; }
    const std::set<std::string>& activeProcessing() const { return activeProcessing_; }
    const std::vector<UpNextMenuItem>& upNextItems() const { return upNextItems_; }
    bool hasRecordingTimer() const { return recordingTimer_.isActive(); }
    int queuedTranscriptions() const { return queuedTranscriptions_; }
    int queuedAIGenerations() const { return queuedAIGenerations_; }
    /// The menu as it would be built now (what `vellmora menu` prints).
    Platform::Menu buildMenu();

    // Pure decisions.
    static RecordingMenuControl recordingMenuControl(const RecordingPhase& phase);
    static std::optional<RecordingHeaderStatus> recordingHeaderStatus(const RecordingPhase& phase,
                                                                      Support::Date now);
    static std::optional<std::string> processingStatusText(const std::set<std::string>& activeProcessing,
                                                           std::optional<double> speechModelDownloadProgress,
                                                           std::optional<double> videoIndexing);
    static std::string videoIndexingText(std::optional<double> progress);
    static std::vector<SupportItem> supportItems(bool updateCheckAvailable,
                                                 const std::optional<std::string>& offeredVersion,
                                                 bool restartPending);
    /// The header: status line by phase, then availability, then monitoring.
    static Platform::MenuHeaderView header(const RecordingPhase& phase, Support::Date now, bool isMonitoring,
                                           const std::optional<std::string>& monitoredAppName,
                                           const RecordingAvailability& availability,
                                           const std::optional<std::string>& processingText);
    static Platform::StatusIcon statusIcon(const RecordingPhase& phase, bool processingActive,
                                           bool isMonitoring);
    /// "0:07", "12:05", "1:02:03".
    static std::string durationText(Support::Duration duration);
    /// The setup screen's wording of the speech-model download at fraction `p`.
    static std::string speechModelDownloadText(double p);

private:
    void rebuildMenu();
    void updateStatusIcon();
    void observeNotifications();
    void handleActivation(const Platform::MenuItem& item);
    void appendUpNext(std::vector<Platform::MenuItem>& items);
    void refreshUpNextLabels();
    bool upNextVisible() const;
    std::shared_ptr<MenuBarControllerDelegate> delegate() const { return delegate_.lock(); }

    Environment env_;
    Platform::Menu menu_;
    bool isSetUp_ = false;
    bool isMenuOpen_ = false;
    bool needsMenuRebuild_ = false;
    RecordingAvailability recordingAvailability_ = RecordingAvailability::starting();
    RecordingPhase phase_;
    bool isMonitoring_ = false;
    std::optional<std::string> monitoredAppName_;
    std::optional<std::string> captureWarning_;
    Support::Subscription recordingTimer_;
    std::set<std::string> activeProcessing_;
    std::optional<double> speechModelDownloadProgress_;
    std::optional<double> videoIndexingProgress_;
    std::optional<std::string> offeredUpdateVersion_;
    std::optional<std::string> directUpdateVersion_;
    bool directUpdateRestartPending_ = false;
    int queuedTranscriptions_ = 0;
    int queuedAIGenerations_ = 0;
    std::vector<CalendarMeeting> upcomingMeetings_;
    std::vector<UpNextMenuItem> upNextItems_;
    bool reminderCoordinatorRunning_ = false;
    UpdateCheckCoordinator* updateCoordinator_ = nullptr;
    bool updateCheckAvailable_ = false;
    Support::SubscriptionBag cancellables_;
    std::weak_ptr<MenuBarControllerDelegate> delegate_;
};

} // namespace UI

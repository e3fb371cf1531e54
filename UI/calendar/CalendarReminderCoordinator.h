// The long-lived object that turns the reminder plan into what the user sees. It runs one planning loop
// on the scheduler: each pass fetches the meetings from the calendar source, prunes the ledger, runs the
// planner, takes back withdrawn reminders, posts heads-ups (through the notifier) and opens the overlay
// card (through the presenter), records what it presented in the ledger, posts "not recording yet" nudges
// for joined meetings, and sleeps until the next moment the plan can change, never longer than `maxSleep`.
// Calendar changes, settings changes, a wake from sleep, a wall-clock jump and every answer restart the
// loop (calendar and settings changes debounced by `debounceInterval`), so a pass runs at once.
//
// The settings and the ledger are read from the user defaults afresh for every pass and every answer and
// the ledger is saved after every change, so that a restarted app repeats nothing and forgets no snooze.
// Between passes the coordinator costs one timer. While a reminder is due within `activityLead` it holds
// an activity assertion so that the computer does not idle-sleep through it.
//
// Construct it with its dependencies (all interfaces or objects the host owns, which must outlive it),
// call `configure` with the host's recording hooks, then `start()`. Main loop only.
#pragma once

#include "Platform/ActivityAssertion.h"
#include "Platform/PowerEvents.h"
#include "Platform/Workspace.h"
#include "Support/Log.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarReminderAction.h"
#include "UI/calendar/CalendarReminderLedger.h"
#include "UI/calendar/CalendarReminderSettings.h"
#include "UI/calendar/CalendarSource.h"
#include "UI/calendar/JoinIntentStore.h"
#include "UI/calendar/MeetingReminderNotifier.h"
#include "UI/calendar/MeetingReminderPresenter.h"
#include "UI/calendar/MeetingReminderResponse.h"
#include "UI/calendar/MeetingReminderResponseRouter.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace UI {

class CalendarReminderCoordinator {
public:
    struct Dependencies {
        CalendarSource& calendar;
        MeetingReminderNotifier& notifier;
        Support::Scheduler& scheduler;
        Support::UserDefaults& defaults;
        MeetingReminderPresenter& presenter;
        Platform::Workspace& workspace;
        JoinIntentStore& intents;
        /// Optional: without one, nothing keeps the computer awake.
        Platform::ActivityAssertion* activity = nullptr;
        /// Optional: without one, wakes and clock jumps are only noticed at the next pass.
        Platform::PowerEvents* power = nullptr;
        /// Optional: the router whose handler the coordinator becomes while running.
        MeetingReminderResponseRouter* router = nullptr;
        /// For the fetch window and the card's clock times.
        std::string timeZoneID = "UTC";
        std::string locale = "en_US";
    };

    /// What the host knows about calls and recording right now.
    struct CallActivity {
        bool isRecording = false;
        bool isCallDetected = false;
    };

    static constexpr double maxSleep = 300;
    static constexpr double activityLead = 90;
    /// Bursts of calendar or settings changes (a sync writes many events) give one pass.
    static constexpr double debounceInterval = 1;

    explicit CalendarReminderCoordinator(Dependencies dependencies);
    ~CalendarReminderCoordinator();
    CalendarReminderCoordinator(const CalendarReminderCoordinator&) = delete;
    CalendarReminderCoordinator& operator=(const CalendarReminderCoordinator&) = delete;

    void start();
    void stop();
    bool isRunning() const { return running_; }
    /// Debounced: the loop restarts (and plans at once) shortly after the last request.
    void requestReplan();

    /// Answers a reminder; the returned task ends when the answer was carried out.
    Support::Task<void> handle(MeetingReminderResponse response);
    /// Answers the card on screen.
    Support::Task<void> handleCardAction(MeetingOverlayAction action);

    void configure(std::function<CallActivity()> callActivity,
                   std::function<void(const JoinIntent&)> recordNow,
                   std::function<std::set<std::string>()> microphoneHolders);
    /// The detector started recording a call: the join intent that named it is used up.
    void detectorDidStartRecording(const std::string& appID, const std::string& bundleID, bool isBrowser);

    /// Every meeting of the last pass's fetch window, ended ones included (the window reaches back): readers
    /// such as the menu's "up next" keep those whose end lies after now themselves.
    Support::Published<std::vector<CalendarMeeting>> upcoming;
    Support::Published<CalendarAuthorizationStatus> authorization{CalendarAuthorizationStatus::notDetermined};
    /// After every planning pass (the host's start-up is over after the first).
    Support::Signal<> didPlan;
    const std::optional<MeetingReminderCard>& visibleCard() const { return card_; }
    JoinIntentStore& intents() { return deps_.intents; }
    /// When the loop runs next (nothing while stopped or between a restart and its pass).
    std::optional<Support::Date> scheduledWake() const { return scheduledWake_; }
    /// Occurrence keys with a heads-up on screen.
    const std::set<std::string>& bannerKeys() const { return bannerKeys_; }

private:
    void restartLoop();
    Support::Task<void> runLoop();
    /// One pass at `now`; returns when to run again at the latest.
    Support::Task<std::optional<Support::Date>> performReplan();
    /// Shows what `action` asks for; the caller recorded it in the ledger already.
    Support::Task<void> present(CalendarReminderAction action, Support::Date now,
                                CalendarReminderSettings settings);
    /// Whether a pass begun at `epoch` may go on (the coordinator exists and was not stopped since).
    bool isCurrent(const std::shared_ptr<bool>& alive, std::uint64_t epoch) const;
    void applyWithdrawn(const std::set<std::string>& keys, Support::Date now, CalendarReminderLedger& ledger);
    void withdrawEverything();
    /// Takes meetings off the card on screen; the others keep the card (the first becomes its main).
    void reduceCard(const std::set<std::string>& gone, Support::Date now);
    void showCard(MeetingReminderCard card);
    void closeCard();
    void holdActivity(std::optional<Support::Date> until, Support::Date now);
    void removeReminders(const std::set<std::string>& keys);

    Support::Task<void> join(CalendarMeeting meeting, JoinIntent::Mode mode);
    void snooze(CalendarReminderStage stage, const CalendarMeeting& meeting);
    void dismiss(const CalendarMeeting& meeting);
    std::optional<CalendarMeeting> meeting(const std::string& occurrenceKey) const;
    void afterResponse();

    Dependencies deps_;
    Support::Subscription debounce_;
    Support::Task<void> loopTask_;
    Support::Subscription activity_;
    std::optional<Support::Date> activityUntil_;
    Support::SubscriptionBag cancellables_;
    std::set<std::string> bannerKeys_;
    std::optional<Support::Date> cardShownAt_;
    std::optional<MeetingReminderCard> card_;
    std::vector<CalendarMeeting> meetings_;
    std::optional<Support::Date> scheduledWake_;
    bool running_ = false;
    /// Counts stops: a pass begun before the last stop goes no further.
    std::uint64_t epoch_ = 0;
    bool passInProgress_ = false;
    /// A replan was asked for while a pass ran: the loop plans again right after it.
    bool replanPending_ = false;
    std::function<CallActivity()> callActivity_;
    std::function<void(const JoinIntent&)> recordNow_;
    std::function<std::set<std::string>()> microphoneHolders_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    Support::Logger log_{"reminders"};
};

} // namespace UI

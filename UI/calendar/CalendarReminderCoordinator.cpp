#include "UI/calendar/CalendarReminderCoordinator.h"

#include "UI/calendar/CalendarFetchWindow.h"
#include "UI/calendar/CalendarReminderPlanner.h"
#include "UI/calendar/MeetingJoiner.h"

#include <algorithm>

namespace UI {

using Support::Date;
using Support::seconds;

CalendarReminderCoordinator::CalendarReminderCoordinator(Dependencies dependencies)
    : deps_(std::move(dependencies)) {}

CalendarReminderCoordinator::~CalendarReminderCoordinator() {
    *alive_ = false;
    stop();
}

void CalendarReminderCoordinator::configure(std::function<CallActivity()> callActivity,
                                            std::function<void(const JoinIntent&)> recordNow,
                                            std::function<std::set<std::string>()> microphoneHolders) {
    callActivity_ = std::move(callActivity);
    recordNow_ = std::move(recordNow);
    microphoneHolders_ = std::move(microphoneHolders);
}

void CalendarReminderCoordinator::start() {
    if (running_) {
        return;
    }
    running_ = true;
    cancellables_ += deps_.calendar.observeChanges([this] { requestReplan(); });
    cancellables_ += deps_.defaults.changed.connect([this](const std::string& key) {
        if (CalendarReminderSettings::isSettingsKey(key)) {
            requestReplan();
        }
    });
    if (deps_.power) {
        cancellables_ += deps_.power->observeWake([this] {
            log_.info("The computer woke up: planning again");
            restartLoop();
        });
        cancellables_ += deps_.power->observeClockChange([this] {
            log_.info("The clock changed: planning again");
            restartLoop();
        });
    }
    if (deps_.router) {
        deps_.router->handler = [this, alive = alive_](const MeetingReminderResponse& response) {
            if (*alive) {
                (void)Support::startTask(
                    [this, response]() -> Support::Task<void> { co_await handle(response); });
            }
        };
    }
    deps_.presenter.prepare();
    (void)deps_.notifier.prepare();
    restartLoop();
}

void CalendarReminderCoordinator::stop() {
    if (!running_) {
        return;
    }
    running_ = false;
    ++epoch_; // a pass in flight finishes its current step and stops there
    passInProgress_ = false;
    replanPending_ = false;
    loopTask_.cancel();
    loopTask_ = {};
    debounce_.reset();
    cancellables_.clear();
    activity_.reset();
    activityUntil_.reset();
    scheduledWake_.reset();
    if (deps_.router) {
        deps_.router->handler = nullptr;
    }
}

void CalendarReminderCoordinator::requestReplan() {
    if (!running_) {
        return;
    }
    debounce_ = deps_.scheduler.after(seconds(debounceInterval), [this] { restartLoop(); });
}

void CalendarReminderCoordinator::restartLoop() {
    if (!running_) {
        return;
    }
    debounce_.reset();
    if (passInProgress_) {
        // Never cut a pass in half (a reminder shown but not yet recorded would be shown again): the loop
        // plans again as soon as this pass is over.
        replanPending_ = true;
        return;
    }
    loopTask_.cancel();
    scheduledWake_.reset();
    // The loop itself, not a wrapper around it: cancelling this task must reach the loop.
    loopTask_ = runLoop();
}

bool CalendarReminderCoordinator::isCurrent(const std::shared_ptr<bool>& alive, std::uint64_t epoch) const {
    return *alive && epoch == epoch_;
}

Support::Task<void> CalendarReminderCoordinator::runLoop() {
    while (true) {
        std::optional<Date> wake;
        // The pass is a task of its own that the loop's cancellation does not reach; it checks after each
        // of its awaits that the coordinator is still there and running.
        auto alive = alive_;
        auto epoch = epoch_;
        passInProgress_ = true;
        replanPending_ = false;
        auto pass = performReplan();
        try {
            wake = co_await pass;
        } catch (const std::exception& e) {
            log_.error("Planning reminders failed: {}", e.what());
        }
        if (!isCurrent(alive, epoch)) {
            co_return;
        }
        passInProgress_ = false;
        if (replanPending_) {
            continue;
        }
        auto now = deps_.scheduler.now();
        auto latest = now + seconds(maxSleep);
        auto until = wake && *wake < latest ? *wake : latest;
        scheduledWake_ = until;
        didPlan.emit();
        co_await deps_.scheduler.sleepUntil(until);
    }
}

Support::Task<std::optional<Date>> CalendarReminderCoordinator::performReplan() {
    const auto alive = alive_;
    const auto epoch = epoch_;
    auto settings = CalendarReminderSettings::load(deps_.defaults);
    authorization.setIfChanged(deps_.calendar.authorizationStatus());
    if (!settings.isEnabled || authorization.get() != CalendarAuthorizationStatus::authorized) {
        withdrawEverything();
        upcoming.setIfChanged({});
        co_return std::nullopt;
    }
    auto interval = CalendarFetchWindow::interval(deps_.scheduler.now(), deps_.timeZoneID);
    auto fetched = co_await deps_.calendar.meetings(interval, settings.excludedCalendarIDs);
    if (!isCurrent(alive, epoch)) {
        co_return std::nullopt;
    }
    auto now = deps_.scheduler.now();
    // Meetings that ended stay: the fetch window reaches back, and an answer to a reminder that is still on
    // screen after a meeting ran over must find its meeting. The planner and every reader skip ended ones.
    meetings_ = fetched;
    upcoming.setIfChanged(fetched);

    auto ledger = CalendarReminderLedger::load(deps_.defaults);
    auto original = ledger;
    ledger.prune(now);
    auto plan = CalendarReminderPlanner::plan(meetings_, now, settings, ledger);
    applyWithdrawn(plan.withdrawnKeys, now, ledger);
    if (ledger != original) {
        ledger.save(deps_.defaults);
    }
    for (const auto& action : plan.actions) {
        // Recorded before it is shown: a crash or quit in between may lose one reminder, never repeat it.
        if (action.stage() == CalendarReminderStage::headsUp) {
            ledger.markShown(CalendarReminderStage::headsUp, action.main());
        } else {
            // Every meeting on the card was shown its overlay: the card is shared, not repeated.
            for (const auto& meeting : action.meetings()) {
                ledger.markShown(CalendarReminderStage::overlay, meeting);
            }
        }
        ledger.save(deps_.defaults);
        auto presenting = present(action, now, settings);
        co_await presenting;
        if (!isCurrent(alive, epoch)) {
            co_return std::nullopt;
        }
    }

    deps_.intents.expire(now);
    bool recording = callActivity_ && callActivity_().isRecording;
    for (const auto& intent : deps_.intents.nudgesDue(now, recording)) {
        MeetingReminderBanner banner{MeetingReminderBanner::Kind::notRecordingYet, intent.meeting,
                                     CalendarReminderStage::headsUp, true, intent.id};
        deps_.intents.markNudged(intent.id);
        deps_.presenter.showBanner(banner, now);
        auto posting = deps_.notifier.post(banner, now);
        co_await posting;
        if (!isCurrent(alive, epoch)) {
            co_return std::nullopt;
        }
    }

    if (card_ && cardShownAt_ &&
        now >= CalendarReminderPlanner::overlayCloseTime(card_->main, *cardShownAt_)) {
        closeCard();
    }
    std::optional<Date> wake = plan.nextWake;
    auto consider = [&](std::optional<Date> d) {
        if (d && *d > now && (!wake || *d < *wake)) {
            wake = d;
        }
    };
    if (card_ && cardShownAt_) {
        consider(CalendarReminderPlanner::overlayCloseTime(card_->main, *cardShownAt_));
    }
    consider(deps_.intents.nextEvent(now));
    holdActivity(plan.nextWake, now);
    if (deps_.activity && plan.nextWake && *plan.nextWake - now > seconds(activityLead)) {
        consider(*plan.nextWake - seconds(activityLead)); // to take the assertion in time
    }
    co_return wake;
}

Support::Task<void> CalendarReminderCoordinator::present(CalendarReminderAction action, Date now,
                                                         CalendarReminderSettings settings) {
    auto activity = callActivity_ ? callActivity_() : CallActivity{};
    if (action.stage() == CalendarReminderStage::headsUp) {
        const auto& meeting = action.main();
        auto kind = activity.isCallDetected ? MeetingReminderBanner::Kind::busy
                                            : MeetingReminderBanner::Kind::headsUp;
        MeetingReminderBanner banner{kind, meeting, CalendarReminderStage::headsUp, false, std::nullopt};
        log_.info("Heads-up for {}", meeting.occurrenceKey);
        bannerKeys_.insert(meeting.occurrenceKey);
        deps_.presenter.showBanner(banner, now);
        co_await deps_.notifier.post(banner, now);
        co_return;
    }
    log_.info("Overlay for {} with {} more", action.main().occurrenceKey, action.extras().size());
    auto snoozeUntil =
        CalendarReminderPlanner::snoozeTarget(CalendarReminderStage::overlay, action.main(), settings, now);
    MeetingReminderCard card{action.main(),
                             action.extras(),
                             MeetingOverlayPresentation(action.main(), action.extras(), now, snoozeUntil,
                                                        deps_.timeZoneID, deps_.locale),
                             activity.isRecording,
                             activity.isCallDetected,
                             now};
    showCard(std::move(card));
}

void CalendarReminderCoordinator::showCard(MeetingReminderCard card) {
    cardShownAt_ = card.shownAt;
    card_ = std::move(card);
    deps_.presenter.showCard(*card_, [this, alive = alive_](const MeetingOverlayAction& action) {
        if (*alive) {
            (void)Support::startTask(
                [this, action]() -> Support::Task<void> { co_await handleCardAction(action); });
        }
    });
}

void CalendarReminderCoordinator::closeCard() {
    if (!card_) {
        return;
    }
    card_.reset();
    cardShownAt_.reset();
    deps_.presenter.closeCard();
}

void CalendarReminderCoordinator::removeReminders(const std::set<std::string>& keys) {
    if (keys.empty()) {
        return;
    }
    deps_.notifier.remove(keys);
    deps_.presenter.removeBanners(keys);
    for (const auto& key : keys) {
        bannerKeys_.erase(key);
    }
}

void CalendarReminderCoordinator::applyWithdrawn(const std::set<std::string>& keys, Date now,
                                                 CalendarReminderLedger& ledger) {
    if (keys.empty()) {
        return;
    }
    log_.info("Taking back the reminders of {} meeting(s)", keys.size());
    removeReminders(keys);
    reduceCard(keys, now);
    ledger.forget(keys);
    deps_.intents.withdraw(keys, now);
}

void CalendarReminderCoordinator::reduceCard(const std::set<std::string>& gone, Date now) {
    if (!card_) {
        return;
    }
    std::vector<CalendarMeeting> remaining;
    for (const auto& meeting : card_->extras) {
        if (!gone.count(meeting.occurrenceKey)) {
            remaining.push_back(meeting);
        }
    }
    bool mainGone = gone.count(card_->main.occurrenceKey) > 0;
    if (!mainGone && remaining.size() == card_->extras.size()) {
        return;
    }
    auto card = *card_;
    closeCard();
    if (mainGone && remaining.empty()) {
        return;
    }
    // The meetings left on a shared card keep it.
    auto main = mainGone ? remaining.front() : card.main;
    if (mainGone) {
        remaining.erase(remaining.begin());
    }
    auto settings = CalendarReminderSettings::load(deps_.defaults);
    auto snoozeUntil =
        CalendarReminderPlanner::snoozeTarget(CalendarReminderStage::overlay, main, settings, now);
    MeetingReminderCard replacement{
        main,
        remaining,
        MeetingOverlayPresentation(main, remaining, now, snoozeUntil, deps_.timeZoneID, deps_.locale),
        card.isRecording,
        card.isCallDetected,
        card.shownAt};
    showCard(std::move(replacement));
}

void CalendarReminderCoordinator::withdrawEverything() {
    auto keys = bannerKeys_;
    for (const auto& [key, entry] : CalendarReminderLedger::load(deps_.defaults).entries) {
        if (entry.headsUpShown && !entry.dismissed) {
            keys.insert(key);
        }
    }
    removeReminders(keys);
    closeCard();
    activity_.reset();
    activityUntil_.reset();
}

void CalendarReminderCoordinator::holdActivity(std::optional<Date> until, Date now) {
    if (!deps_.activity) {
        return;
    }
    if (until && *until > now && *until - now <= seconds(activityLead)) {
        if (!activity_.isActive()) {
            activity_ = deps_.activity->begin("A meeting reminder is due");
        }
        activityUntil_ = until;
    } else if (activity_.isActive()) {
        activity_.reset();
        activityUntil_.reset();
    }
}

std::optional<CalendarMeeting> CalendarReminderCoordinator::meeting(const std::string& occurrenceKey) const {
    for (const auto& m : meetings_) {
        if (m.occurrenceKey == occurrenceKey) {
            return m;
        }
    }
    if (card_) {
        for (const auto& m : card_->extras) {
            if (m.occurrenceKey == occurrenceKey) {
                return m;
            }
        }
        if (card_->main.occurrenceKey == occurrenceKey) {
            return card_->main;
        }
    }
    return std::nullopt;
}

void CalendarReminderCoordinator::afterResponse() {
    if (running_) {
        restartLoop();
    }
}

Support::Task<void> CalendarReminderCoordinator::handle(MeetingReminderResponse response) {
    auto alive = alive_;
    if (response.action == MeetingReminderResponse::Action::recordNow) {
        auto intent = response.intentID ? deps_.intents.intent(*response.intentID) : std::nullopt;
        deps_.notifier.remove({response.occurrenceKey});
        if (!intent) {
            log_.warning("Record now for {}: the join is no longer known", response.occurrenceKey);
        } else if (recordNow_) {
            recordNow_(*intent);
        }
        afterResponse();
        co_return;
    }
    auto found = meeting(response.occurrenceKey);
    if (!found) {
        log_.warning("Answer {} for {}: the meeting is no longer in the calendar", rawValue(response.action),
                     response.occurrenceKey);
        co_return;
    }
    switch (response.action) {
    case MeetingReminderResponse::Action::open:
        deps_.presenter.showMeeting(*found);
        break;
    case MeetingReminderResponse::Action::joinAndRecord:
        co_await join(*found, JoinIntent::Mode::record);
        break;
    case MeetingReminderResponse::Action::join:
        co_await join(*found, JoinIntent::Mode::skip);
        break;
    case MeetingReminderResponse::Action::snooze:
        snooze(response.stage.value_or(CalendarReminderStage::headsUp), *found);
        break;
    case MeetingReminderResponse::Action::recordNow:
        break;
    }
    if (*alive) {
        afterResponse();
    }
}

Support::Task<void> CalendarReminderCoordinator::handleCardAction(MeetingOverlayAction action) {
    if (!card_) {
        co_return;
    }
    auto alive = alive_;
    auto main = card_->main;
    switch (action.kind) {
    case MeetingOverlayAction::Kind::joinAndRecord:
        closeCard();
        co_await join(main, JoinIntent::Mode::record);
        break;
    case MeetingOverlayAction::Kind::joinOnly:
        closeCard();
        co_await join(main, JoinIntent::Mode::skip);
        break;
    case MeetingOverlayAction::Kind::snooze:
        snooze(CalendarReminderStage::overlay, main);
        break;
    case MeetingOverlayAction::Kind::dismiss:
        dismiss(main);
        break;
    case MeetingOverlayAction::Kind::joinExtra: {
        std::optional<CalendarMeeting> extra;
        for (const auto& m : card_->extras) {
            if (m.occurrenceKey == action.extraOccurrenceKey) {
                extra = m;
            }
        }
        if (!extra) {
            co_return;
        }
        closeCard();
        co_await join(*extra, JoinIntent::Mode::skip);
        break;
    }
    }
    if (*alive) {
        afterResponse();
    }
}

Support::Task<void> CalendarReminderCoordinator::join(CalendarMeeting meeting, JoinIntent::Mode mode) {
    auto now = deps_.scheduler.now();
    MeetingJoiner joiner(deps_.workspace);
    auto target = joiner.target(meeting.link);
    removeReminders({meeting.occurrenceKey});
    if (card_ && card_->shows(meeting.occurrenceKey)) {
        closeCard();
    }
    // Once joined, the meeting's remaining reminders have nothing more to offer.
    auto ledger = CalendarReminderLedger::load(deps_.defaults);
    ledger.markShown(CalendarReminderStage::headsUp, meeting);
    ledger.markShown(CalendarReminderStage::overlay, meeting);
    ledger.save(deps_.defaults);
    if (now >= meeting.end) {
        if (mode == JoinIntent::Mode::record) {
            log_.info("Join & Record after the meeting ended: opening the link only");
        }
    } else {
        auto holders = microphoneHolders_ ? microphoneHolders_() : deps_.intents.microphoneHolders();
        deps_.intents.registerIntent(JoinIntent::make(meeting, mode, target, now, std::move(holders)), now);
    }
    auto url = target.openedURL;
    const auto alive = alive_;
    bool opened = co_await deps_.workspace.open(url);
    if (!opened && *alive) {
        log_.error("Couldn't open the meeting link of {}", meeting.occurrenceKey);
    }
}

void CalendarReminderCoordinator::snooze(CalendarReminderStage stage, const CalendarMeeting& meeting) {
    auto now = deps_.scheduler.now();
    auto settings = CalendarReminderSettings::load(deps_.defaults);
    auto ledger = CalendarReminderLedger::load(deps_.defaults);
    if (auto target = CalendarReminderPlanner::snoozeTarget(stage, meeting, settings, now)) {
        log_.info("Snoozed the {} of {} until {}", rawValue(stage), meeting.occurrenceKey,
                  Support::formatISO8601(*target));
        ledger.snooze(stage, meeting, *target);
        ledger.save(deps_.defaults);
    } else {
        log_.info("The {} of {} cannot be snoozed any more", rawValue(stage), meeting.occurrenceKey);
    }
    removeReminders({meeting.occurrenceKey});
    if (stage == CalendarReminderStage::overlay && card_ &&
        card_->main.occurrenceKey == meeting.occurrenceKey) {
        closeCard();
    }
}

void CalendarReminderCoordinator::dismiss(const CalendarMeeting& meeting) {
    auto ledger = CalendarReminderLedger::load(deps_.defaults);
    ledger.dismiss(meeting);
    ledger.save(deps_.defaults);
    removeReminders({meeting.occurrenceKey});
    reduceCard({meeting.occurrenceKey}, deps_.scheduler.now());
}

void CalendarReminderCoordinator::detectorDidStartRecording(const std::string& appID,
                                                            const std::string& bundleID, bool isBrowser) {
    auto now = deps_.scheduler.now();
    auto directive = deps_.intents.directive(bundleID, isBrowser, now);
    if (!directive.intent()) {
        log_.debug("Recording of {} started without a join intent", appID);
        return;
    }
    deps_.intents.consume(directive.intent()->id, now);
    deps_.notifier.remove({directive.intent()->occurrenceKey()});
}

} // namespace UI

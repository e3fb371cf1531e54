// Schedules the automatic update checks, decides whether a found release is offered, and carries out the
// user's answers (show, skip, later) and manual checks. Created once by the host; main loop only.
//
// Schedule:
// - The first automatic check after launch comes `firstCheckDelay` plus a random jitter (0…`maxJitter`)
//   after `start()`, but never earlier than `interval` after the last finished check (so relaunching does
//   not check more than daily); the same jitter is added then.
// - After a check that got an answer the next one is `interval` plus jitter later; after a failed one
//   `failureRetryDelay` plus jitter later.
// - A last-check date in the future (the clock was set back) is ignored.
// - Turning "updateCheck.enabled" off cancels the timer; turning it on schedules as at launch.
//
// Offer (`offerDecision`), first rule that applies:
// - not newer than the installed version (or either does not parse): nothing to offer;
// - the user skipped this very version: not offered, ever;
// - its release date is less than `minimumReleaseAge` ago: not yet (re-checked when it is old enough);
// - snoozed until a later moment: not yet (re-evaluated when the snooze ends);
// - otherwise offered. A release without a date is not held back by age.
// A manual check shows any newer release, skipped, snoozed or young.
#pragma once

#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"
#include "UI/updates/AppStoreLookupClient.h"
#include "UI/updates/UpdateCheckConfiguration.h"
#include "UI/updates/UpdateCheckPreferences.h"

#include <functional>
#include <optional>
#include <string>

namespace UI {

class UpdateCheckCoordinator {
public:
    static constexpr Support::Duration failureRetryDelay = Support::seconds(3'600);

    enum class OfferDecision { offer, notNewer, skipped, tooRecent, snoozed };

    /// The result of "Check for Updates...", with the sentence shown for it.
    struct ManualCheckResult {
        enum class Kind { upToDate, updateAvailable, failed };
        Kind kind = Kind::failed;
        std::optional<AppStoreRelease> release;
        std::string installedVersion;

        std::string message() const;
    };

    /// `random` gives numbers in [0, 1) for the jitter (default: a seeded generator).
    UpdateCheckCoordinator(AppStoreLookupClient& lookup, Support::Scheduler& scheduler,
                           Support::UserDefaults& defaults, std::string installedVersion,
                           UpdateCheckConfiguration configuration = UpdateCheckConfiguration::standard,
                           std::optional<std::string> country = std::nullopt,
                           std::function<double()> random = {});
    ~UpdateCheckCoordinator();
    UpdateCheckCoordinator(const UpdateCheckCoordinator&) = delete;
    UpdateCheckCoordinator& operator=(const UpdateCheckCoordinator&) = delete;

    /// Starts the automatic schedule (once, at launch).
    void start();

    /// The release offered now (shown in the menu as "Update Available: Vellmora <version>").
    Support::Published<std::optional<AppStoreRelease>> offeredRelease;
    /// Asks the host to present the offered release (its store page and notes).
    Support::Signal<const AppStoreRelease&> presentRequested;

    /// The menu's "Update Available" entry.
    void showAvailableUpdate();
    /// "Skip This Version": never offer the offered version again.
    void skipOfferedVersion();
    /// "Later": hide the offer for `snoozeDuration`.
    void snoozeOffer();
    /// "Check for Updates...". Records the check like an automatic one and updates the offer.
    Support::Task<ManualCheckResult> checkNow();

    /// When the next automatic check is due, if one is scheduled.
    std::optional<Support::Date> nextCheckDate() const { return nextCheck_; }
    bool isChecking() const { return checking_.isValid() && !checking_.isDone(); }

    // Pure rules, exposed for tests and the command line.
    static OfferDecision offerDecision(const AppStoreRelease& release, const std::string& installedVersion,
                                       const std::optional<std::string>& skippedVersion,
                                       const std::optional<Support::Date>& snoozeUntil, Support::Date now,
                                       const UpdateCheckConfiguration& configuration);
    /// When the first automatic check after launch is due (`jitter` in [0, 1)).
    static Support::Date firstCheckDate(const UpdateCheckConfiguration& configuration, Support::Date now,
                                        const std::optional<Support::Date>& lastCheck, double jitter);
    /// Release notes cut to `releaseNotesLimit` characters, with "…" when cut.
    static std::string shownReleaseNotes(const std::string& notes,
                                         const UpdateCheckConfiguration& configuration);

private:
    void scheduleAt(Support::Date date);
    void scheduleFirst();
    void runAutomaticCheck();
    /// The lookup, noting the date of an answer; in the group, so that it stops with the coordinator.
    Support::Task<AppStoreLookupClient::Outcome> lookupAndRecord();
    Support::Task<AppStoreLookupClient::Outcome> recordLookup();
    void apply(const AppStoreLookupClient::Outcome& outcome);
    void reevaluate();
    double jitter();

    AppStoreLookupClient& lookup_;
    Support::Scheduler& scheduler_;
    UpdateCheckPreferences preferences_;
    std::string installedVersion_;
    UpdateCheckConfiguration configuration_;
    std::optional<std::string> country_;
    std::function<double()> random_;

    bool started_ = false;
    std::optional<Support::Date> nextCheck_;
    std::optional<AppStoreRelease> latest_;
    Support::Subscription timer_;
    Support::Subscription reevaluation_;
    Support::Subscription enabledObserver_;
    Support::Task<void> checking_;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI

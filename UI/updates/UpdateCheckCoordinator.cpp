#include "UI/updates/UpdateCheckCoordinator.h"

#include "Support/Log.h"
#include "Support/Text.h"
#include "UI/updates/AppVersion.h"

#include <algorithm>
#include <random>

namespace UI {

namespace {

const Support::Logger& logger() {
    static const Support::Logger log("updates");
    return log;
}

Support::Duration scaled(Support::Duration d, double fraction) {
    fraction = std::clamp(fraction, 0.0, 1.0);
    return Support::Duration(static_cast<Support::Duration::rep>(static_cast<double>(d.count()) * fraction));
}

} // namespace

std::string UpdateCheckCoordinator::ManualCheckResult::message() const {
    switch (kind) {
    case Kind::upToDate:
        return "You're up to date. Vellmora " + installedVersion + " is the latest version.";
    case Kind::updateAvailable:
        return "Vellmora " + (release ? release->version : std::string()) + " is available. You have " +
               installedVersion + ".";
    case Kind::failed:
        break;
    }
    return "Couldn't check for updates. Check your internet connection and try again.";
}

UpdateCheckCoordinator::UpdateCheckCoordinator(AppStoreLookupClient& lookup, Support::Scheduler& scheduler,
                                               Support::UserDefaults& defaults, std::string installedVersion,
                                               UpdateCheckConfiguration configuration,
                                               std::optional<std::string> country,
                                               std::function<double()> random)
    : lookup_(lookup), scheduler_(scheduler), preferences_(defaults),
      installedVersion_(std::move(installedVersion)), configuration_(configuration),
      country_(std::move(country)), random_(std::move(random)) {
    if (!random_) {
        auto generator = std::make_shared<std::mt19937_64>(std::random_device{}());
        random_ = [generator] { return std::uniform_real_distribution<double>(0.0, 1.0)(*generator); };
    }
}

UpdateCheckCoordinator::~UpdateCheckCoordinator() = default;

void UpdateCheckCoordinator::start() {
    if (started_) {
        return;
    }
    started_ = true;
    enabledObserver_ = preferences_.defaults().changed.connect([this](const std::string& key) {
        if (key != UpdateCheckPreferences::enabledKey) {
            return;
        }
        if (!preferences_.isEnabled()) {
            timer_.reset();
            nextCheck_.reset();
        } else if (!nextCheck_ && !isChecking()) {
            scheduleFirst();
        }
    });
    if (preferences_.isEnabled()) {
        scheduleFirst();
    }
}

double UpdateCheckCoordinator::jitter() {
    return std::clamp(random_(), 0.0, 1.0);
}

void UpdateCheckCoordinator::scheduleFirst() {
    scheduleAt(firstCheckDate(configuration_, scheduler_.now(), preferences_.lastCheckDate(), jitter()));
}

void UpdateCheckCoordinator::scheduleAt(Support::Date date) {
    nextCheck_ = date;
    timer_ = scheduler_.at(date, [this] { runAutomaticCheck(); });
    logger().debug("Next update check at {}", Support::formatISO8601(date));
}

void UpdateCheckCoordinator::runAutomaticCheck() {
    nextCheck_.reset();
    timer_.reset();
    if (!preferences_.isEnabled() || isChecking()) {
        return;
    }
    checking_ = tasks_.start([this]() -> Support::Task<void> {
        auto lookup = lookupAndRecord();
        auto outcome = co_await lookup;
        apply(outcome);
        if (preferences_.isEnabled()) {
            const auto wait = outcome.kind == AppStoreLookupClient::Outcome::Kind::failed
                                  ? failureRetryDelay
                                  : configuration_.interval;
            scheduleAt(scheduler_.now() + wait + scaled(configuration_.maxJitter, jitter()));
        }
    });
}

Support::Task<AppStoreLookupClient::Outcome> UpdateCheckCoordinator::lookupAndRecord() {
    return tasks_.start([this]() { return recordLookup(); });
}

Support::Task<AppStoreLookupClient::Outcome> UpdateCheckCoordinator::recordLookup() {
    auto lookup = lookup_.latestRelease(country_);
    auto outcome = co_await lookup;
    if (outcome.kind != AppStoreLookupClient::Outcome::Kind::failed) {
        preferences_.setLastCheckDate(scheduler_.now());
    }
    co_return outcome;
}

void UpdateCheckCoordinator::apply(const AppStoreLookupClient::Outcome& outcome) {
    switch (outcome.kind) {
    case AppStoreLookupClient::Outcome::Kind::release:
        latest_ = outcome.release;
        break;
    case AppStoreLookupClient::Outcome::Kind::noResults:
        latest_.reset();
        break;
    case AppStoreLookupClient::Outcome::Kind::failed:
        return; // keep what an earlier check found
    }
    reevaluate();
}

void UpdateCheckCoordinator::reevaluate() {
    reevaluation_.reset();
    if (!latest_) {
        offeredRelease.setIfChanged(std::nullopt);
        return;
    }
    const auto now = scheduler_.now();
    const auto snoozeUntil = preferences_.snoozeUntil();
    const auto decision = offerDecision(*latest_, installedVersion_, preferences_.skippedVersion(),
                                        snoozeUntil, now, configuration_);
    offeredRelease.setIfChanged(decision == OfferDecision::offer ? latest_ : std::nullopt);
    if (decision == OfferDecision::tooRecent) {
        reevaluation_ =
            scheduler_.at(*latest_->releaseDate + configuration_.minimumReleaseAge, [this] { reevaluate(); });
    } else if (decision == OfferDecision::snoozed) {
        reevaluation_ = scheduler_.at(*snoozeUntil, [this] { reevaluate(); });
    }
}

void UpdateCheckCoordinator::showAvailableUpdate() {
    if (const auto& offered = offeredRelease.get()) {
        presentRequested.emit(*offered);
    }
}

void UpdateCheckCoordinator::skipOfferedVersion() {
    if (const auto& offered = offeredRelease.get()) {
        preferences_.setSkippedVersion(offered->version);
        reevaluate();
    }
}

void UpdateCheckCoordinator::snoozeOffer() {
    if (offeredRelease.get()) {
        preferences_.setSnoozeUntil(scheduler_.now() + configuration_.snoozeDuration);
        reevaluate();
    }
}

Support::Task<UpdateCheckCoordinator::ManualCheckResult> UpdateCheckCoordinator::checkNow() {
    return tasks_.start([this]() -> Support::Task<ManualCheckResult> {
        auto lookup = lookupAndRecord();
        auto outcome = co_await lookup;
        apply(outcome);
        ManualCheckResult result;
        result.installedVersion = installedVersion_;
        if (outcome.kind == AppStoreLookupClient::Outcome::Kind::failed) {
            result.kind = ManualCheckResult::Kind::failed;
        } else if (outcome.release && AppVersion::isNewer(outcome.release->version, installedVersion_)) {
            result.kind = ManualCheckResult::Kind::updateAvailable;
            result.release = outcome.release;
        } else {
            result.kind = ManualCheckResult::Kind::upToDate;
        }
        co_return result;
    });
}

UpdateCheckCoordinator::OfferDecision
UpdateCheckCoordinator::offerDecision(const AppStoreRelease& release, const std::string& installedVersion,
                                      const std::optional<std::string>& skippedVersion,
                                      const std::optional<Support::Date>& snoozeUntil, Support::Date now,
                                      const UpdateCheckConfiguration& configuration) {
    if (!AppVersion::isNewer(release.version, installedVersion)) {
        return OfferDecision::notNewer;
    }
    if (skippedVersion) {
        auto skipped = AppVersion::parse(*skippedVersion);
        auto offered = AppVersion::parse(release.version);
        if (*skippedVersion == release.version || (skipped && offered && *skipped == *offered)) {
            return OfferDecision::skipped;
        }
    }
    if (release.releaseDate && now - *release.releaseDate < configuration.minimumReleaseAge) {
        return OfferDecision::tooRecent;
    }
    if (snoozeUntil && now < *snoozeUntil) {
        return OfferDecision::snoozed;
    }
    return OfferDecision::offer;
}

Support::Date UpdateCheckCoordinator::firstCheckDate(const UpdateCheckConfiguration& configuration,
                                                     Support::Date now,
                                                     const std::optional<Support::Date>& lastCheck,
                                                     double jitter) {
    auto due = now + configuration.firstCheckDelay;
    if (lastCheck && *lastCheck <= now) {
        due = std::max(due, *lastCheck + configuration.interval);
    }
    return due + scaled(configuration.maxJitter, jitter);
}

std::string UpdateCheckCoordinator::shownReleaseNotes(const std::string& notes,
                                                      const UpdateCheckConfiguration& configuration) {
    auto text = Support::Text::trimmed(notes);
    if (configuration.releaseNotesLimit == 0 ||
        Support::Text::graphemeCount(text) <= configuration.releaseNotesLimit) {
        return text;
    }
    return Support::Text::trimmed(Support::Text::graphemePrefix(text, configuration.releaseNotesLimit - 1)) +
           "…";
}

} // namespace UI

#include "UI/ai/AIGenerationJobs.h"

#include "Support/Errors.h"
#include "Support/Log.h"
#include "Support/Uuid.h"
#include "UI/ai/ProcessingType.h"
#include "UI/library/LibraryNotifications.h"

namespace UI {

namespace {
const Support::Logger log("ai.jobs");

std::optional<ProcessingType> processingType(AIGenerationJobs::Kind kind) {
    switch (kind) {
    case AIGenerationJobs::Kind::summary:
        return ProcessingType::summary;
    case AIGenerationJobs::Kind::actionItems:
        return ProcessingType::actionItems;
    case AIGenerationJobs::Kind::title:
        return std::nullopt;
    }
    return std::nullopt;
}
} // namespace

std::string AIGenerationJobs::name(Kind kind) {
    switch (kind) {
    case Kind::summary:
        return "summary";
    case Kind::actionItems:
        return "actionItems";
    case Kind::title:
        return "title";
    }
    return "summary";
}

AIGenerationJobs::AIGenerationJobs(Support::NotificationCenter& center) : center_(center) {
    cancellables_ +=
        center_.observe(LibraryNotifications::recordingDidDelete, [this](const Support::Notification& n) {
            if (auto id = LibraryNotifications::recordingId(n)) {
                cancelAll(*id);
            }
        });
}

AIGenerationJobs::~AIGenerationJobs() = default;

void AIGenerationJobs::stop() {
    tasks_.cancelAll();
    jobs_.clear();
}

void AIGenerationJobs::startWithToken(Kind kind, RecordingId recordingId,
                                      std::function<Support::Task<void>(Token)> operation) {
    const Key key{kind, recordingId};
    if (auto it = jobs_.find(key); it != jobs_.end()) {
        it->second.task.cancel();
        jobs_.erase(it);
    }
    failuresFinishedAway_.erase(key);
    Token token = Support::Uuid::generate();
    if (auto type = processingType(kind)) {
        ProcessingNotifications::postProcessingStarted(center_, recordingId, *type, false);
    }
    auto task = tasks_.start([this, key, token, operation = std::move(operation)]() -> Support::Task<void> {
        std::optional<std::string> failure;
        try {
            // Owned: cancelling the job cancels its body, and the job ends only once the body has.
            auto body = Support::awaitOwned(operation(token));
            co_await body;
        } catch (const Support::UserFacingError& e) {
            failure = e.description();
        } catch (const std::exception& e) {
            failure = e.what();
        }
        // A cancelled job (superseded, or its register gone) ends at the await above with `Cancelled`.
        if (failure) {
            finish(key, token, Outcome::failed(*failure));
        } else if (auto it = jobs_.find(key); it != jobs_.end() && it->second.token == token) {
            // The body returned without reporting: end it quietly.
            jobs_.erase(it);
        }
    });
    jobs_[key] = Job{token, task};
}

std::optional<AIGenerationJobs::Token> AIGenerationJobs::token(Kind kind, RecordingId recordingId) const {
    auto it = jobs_.find(Key{kind, recordingId});
    if (it == jobs_.end()) {
        return std::nullopt;
    }
    return it->second.token;
}

bool AIGenerationJobs::isRunning(Kind kind, RecordingId recordingId) const {
    return jobs_.count(Key{kind, recordingId}) > 0;
}

void AIGenerationJobs::cancelAll(RecordingId recordingId) {
    for (auto it = jobs_.begin(); it != jobs_.end();) {
        if (it->first.recordingId == recordingId) {
            it->second.task.cancel();
            if (auto type = processingType(it->first.kind)) {
                ProcessingNotifications::postProcessingCompleted(center_, recordingId, *type);
            }
            it = jobs_.erase(it);
        } else {
            ++it;
        }
    }
    for (auto kind : allKinds) {
        failuresFinishedAway_.erase(Key{kind, recordingId});
        resultsFinishedAway_.erase(Key{kind, recordingId});
    }
}

void AIGenerationJobs::finish(const Key& key, const Token& token, Outcome outcome) {
    auto it = jobs_.find(key);
    if (it == jobs_.end() || it->second.token != token) {
        return;
    }
    jobs_.erase(it);
    if (outcome.kind == Outcome::Case::failed) {
        failuresFinishedAway_[key] = outcome.message;
        log.notice("The {} job of recording {} failed", name(key.kind), key.recordingId);
    } else if (outcome.result) {
        resultsFinishedAway_[key] = *outcome.result;
    }
    if (auto type = processingType(key.kind)) {
        ProcessingNotifications::postProcessingCompleted(center_, key.recordingId, *type,
                                                         outcome.kind == Outcome::Case::failed
                                                             ? std::optional<std::string>(outcome.message)
                                                             : std::nullopt);
    }
    deliver(JobEnd{key.kind, key.recordingId, std::move(outcome)});
}

void AIGenerationJobs::deliver(const JobEnd& end) {
    presenter.emit(end);
}

std::optional<std::string> AIGenerationJobs::takeFailureFinishedAway(Kind kind, RecordingId recordingId) {
    auto it = failuresFinishedAway_.find(Key{kind, recordingId});
    if (it == failuresFinishedAway_.end()) {
        return std::nullopt;
    }
    auto message = std::move(it->second);
    failuresFinishedAway_.erase(it);
    return message;
}

std::optional<std::string> AIGenerationJobs::takeResultFinishedAway(Kind kind, RecordingId recordingId) {
    auto it = resultsFinishedAway_.find(Key{kind, recordingId});
    if (it == resultsFinishedAway_.end()) {
        return std::nullopt;
    }
    auto result = std::move(it->second);
    resultsFinishedAway_.erase(it);
    return result;
}

} // namespace UI

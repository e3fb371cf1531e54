// The register of running AI jobs on recordings: one job at most per (kind, recording). Starting a job of a
// key supersedes the one running there (its task is cancelled, and its token no longer matches, so anything
// it still delivers is ignored). A job that ends reports a `JobEnd` to `presenter`'s subscribers, and a
// failure's message waits in `failuresFinishedAway` until a view takes it.
//
// Main loop only. The host makes one on its notification centre and gives it to the background services
// (which start a new recording's jobs) and to the windows (which show and restart them); tests make their
// own. Deleting a recording ("Vellmora.recordingDidDelete") cancels its jobs and forgets
// their failures. Summary and action-item jobs post the processing notifications for the menu bar.
#pragma once

#include "Database/DatabaseManager.h"
#include "Support/NotificationCenter.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"

#include <array>
#include <compare>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace UI {

class AIGenerationJobs {
public:
    enum class Kind { summary, actionItems, title };
    static constexpr std::array<Kind, 3> allKinds = {Kind::summary, Kind::actionItems, Kind::title};
    static std::string name(Kind kind);

    using RecordingId = Database::RecordingId;
    /// A UUID string.
    using Token = std::string;

    struct Key {
        Kind kind{};
        RecordingId recordingId{};
        auto operator<=>(const Key&) const = default;
    };

    struct Job {
        Token token{};
        Support::Task<void> task{};
    };

    struct Outcome {
        enum class Case { finished, failed };
        Case kind = Case::finished;
        /// Finished: the result text, if any.
        std::optional<std::string> result{};
        /// Finished: whether the result was stored.
        bool stored = false;
        /// Failed: the failure message.
        std::string message{};

        static Outcome finished(std::optional<std::string> result, bool stored) {
            return {Case::finished, std::move(result), stored, {}};
        }
        static Outcome failed(std::string message) {
            return {Case::failed, std::nullopt, false, std::move(message)};
        }
        bool operator==(const Outcome&) const = default;
    };

    struct JobEnd {
        Kind kind{};
        RecordingId recordingId{};
        Outcome outcome{};
        bool operator==(const JobEnd&) const = default;
    };

    explicit AIGenerationJobs(Support::NotificationCenter& center);
    ~AIGenerationJobs();
    AIGenerationJobs(const AIGenerationJobs&) = delete;
    AIGenerationJobs& operator=(const AIGenerationJobs&) = delete;

    /// Starts `operation(token)` as the job of (kind, recording); see the header comment. The operation ends
    /// the job with `finish`; one that throws ends it as failed with the error's description.
    void startWithToken(Kind kind, RecordingId recordingId,
                        std::function<Support::Task<void>(Token)> operation);
    std::optional<Token> token(Kind kind, RecordingId recordingId) const;
    bool isRunning(Kind kind, RecordingId recordingId) const;
    void cancelAll(RecordingId recordingId);
    /// Cancels every job without a word (the host is quitting); the register is empty afterwards.
    void stop();

    /// Ends the job of `key` when `token` is still its token: removes it, keeps a failure's message (or a
    /// finished result) for `take...FinishedAway`, and delivers the `JobEnd`. A stale token does nothing.
    void finish(const Key& key, const Token& token, Outcome outcome);
    void deliver(const JobEnd& end);

    std::optional<std::string> takeFailureFinishedAway(Kind kind, RecordingId recordingId);
    std::optional<std::string> takeResultFinishedAway(Kind kind, RecordingId recordingId);

    Support::Signal<const JobEnd&> presenter;
    Support::NotificationCenter& center() { return center_; }

private:
    Support::NotificationCenter& center_;
    std::map<Key, Job> jobs_{};
    std::map<Key, std::string> failuresFinishedAway_{};
    std::map<Key, std::string> resultsFinishedAway_{};
    Support::SubscriptionBag cancellables_{};
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI

// The bodies of the three AI jobs, run under `AIGenerationJobs::startWithToken`: wait for the model, run the
// client's stream, clean and store the result, and end the job with `finish` (a superseded job's report is
// ignored by the register). What a detail view shows while a job runs (the summary growing, the progress
// line, the stored action items, a title error) goes to the optional `Display` callbacks.
//
// Cancellation (a newer job of the same key, or the recording deleted) surfaces as `Support::Cancelled` at
// the next await and ends the job silently; nothing is stored after it.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/SummaryTemplate.h"
#include "Support/Task.h"
#include "UI/ai/AIGenerationClient.h"
#include "UI/ai/AIGenerationJobs.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace UI {

struct AIGenerationRunner {
    using RecordingId = Database::RecordingId;
    using Token = AIGenerationJobs::Token;
    using ActionItem = Database::DatabaseManager::ActionItem;

    struct Display {
        /// The text streamed so far (summary: as it grows; title and action items: raw).
        std::function<void(const std::string& textSoFar)> onText;
        /// Each new fragment as it arrives.
        std::function<void(const std::string& fragment)> onFragment;
        /// The progress line (`AIRerunCopy`), or a wait text (`AIModelWaitCopy`).
        std::function<void(const std::string& line)> onProgress;
        std::function<void(const std::vector<ActionItem>& items)> onActionItems;
        std::function<void(const std::string& message)> onTitleError;
    };

    static constexpr const char* titleErrorMessage = "Couldn't generate a title from this recording.";

    static Support::Task<void> summary(RecordingId recordingId, Token token,
                                       std::optional<Intelligence::SummaryTemplate> summaryTemplate,
                                       AIGenerationClient generation, Database::DatabaseManager& database,
                                       AIGenerationJobs& jobs, Display display = {});
    static Support::Task<void> actionItems(RecordingId recordingId, Token token, bool force,
                                           AIGenerationClient generation, Database::DatabaseManager& database,
                                           AIGenerationJobs& jobs, Display display = {});
    static Support::Task<void> title(RecordingId recordingId, Token token, AIGenerationClient generation,
                                     Database::DatabaseManager& database, AIGenerationJobs& jobs,
                                     Display display = {});

    /// Waits for the model; when waiting begins and the job is still current, summary and action-item jobs
    /// post processing-started again with waiting-for-model true.
    static Support::Task<void> waitForModel(AIGenerationJobs::Kind kind, RecordingId recordingId,
                                            std::optional<Token> token, const AIGenerationClient& generation,
                                            AIGenerationJobs& jobs, Display display = {});

    /// Blocking: the stored action items of a recording.
    static std::vector<ActionItem> persistedActionItems(RecordingId recordingId,
                                                        Database::DatabaseManager& database);

    /// Starts the jobs a new recording gets by itself (see `AutoGenerationPlan`): summary and action items
    /// (one combined request when both run) and the title. Jobs already running are left alone.
    static void startAutomatic(RecordingId recordingId, bool wantsSummary, bool wantsActionItems,
                               bool wantsTitle, AIGenerationJobs& jobs, AIGenerationClient generation,
                               Database::DatabaseManager& database, Intelligence::AIService& ai);
};

} // namespace UI

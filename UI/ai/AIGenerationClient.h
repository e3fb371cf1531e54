// One asynchronous operation per kind of AI request. Views and the job runner talk only to a client, so
// that tests and previews can hand in another one; `live` calls `AIGenerationService` and the engine.
//
// Streams fail with `ModelNotReadyError` when the engine reports the model unavailable (the engine's own
// error is translated), so that every caller shows the same wait texts.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Intelligence/LongMeeting.h"
#include "Intelligence/SummaryTemplate.h"
#include "Intelligence/TextStream.h"
#include "Support/Task.h"

#include <functional>
#include <optional>
#include <string>

namespace UI {

struct AIGenerationClient {
    using RecordingId = Database::RecordingId;
    using TextStream = Intelligence::TextStream;

    std::function<Support::Task<void>(std::function<void()> onWaiting)> waitUntilReady;
    std::function<TextStream(RecordingId, Intelligence::ProgressHandler)> summary;
    std::function<TextStream(RecordingId, Intelligence::ProgressHandler)> actionItems;
    std::function<TextStream(RecordingId)> title;
    std::function<Support::Task<void>(RecordingId)> indexSummary;
    std::function<TextStream(RecordingId, Intelligence::SummaryTemplate, Intelligence::ProgressHandler)>
        templatedSummary;
    std::function<Support::Task<Intelligence::SummaryTemplate>(std::optional<std::string> explicitId,
                                                               RecordingId)>
        resolveTemplate;

    /// Asks the slides part to label the recording's on-screen content before a summary (none by default).
    using ScreenLabeler = std::function<Support::Task<void>(RecordingId)>;

    /// The client over the engine and the database; both must outlive it.
    static AIGenerationClient
    live(Database::DatabaseManager& database, Intelligence::AIService& ai,
         const Intelligence::SummaryTemplateStore& store = Intelligence::SummaryTemplateStore(),
         ScreenLabeler labelScreensBeforeSummary = {});
};

/// `stream` with the engine's `GenerationUnavailable` failure turned into `ModelNotReadyError`.
Intelligence::TextStream translatingUnavailable(Intelligence::TextStream stream);

} // namespace UI

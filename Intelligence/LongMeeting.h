// Summaries and action items of meetings of any length. A transcript that fits one prompt (`partBudget`
// characters) is sent whole; a longer one is read part by part (notes per part, reported as progress),
// and a final pass writes the answer from the notes, which are cut so that no prompt ever carries more
// than `partBudget` characters of meeting text. Only the final pass is streamed to the caller.
//
// The combined request asks for the summary and the action items in one answer, between the markers
// `summaryMarker` and `actionItemsMarker`; `LongMeetingResult::parse` splits it.
#pragma once

#include "Intelligence/AIService.h"
#include "Intelligence/LLMEngine.h"
#include "Intelligence/SummaryTemplate.h"
#include "Intelligence/TextStream.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Intelligence {

/// What the engine is doing in a long request: a stage, a step number (from 1) and a step count.
struct GenerationProgress {
    enum class Stage {
        perPart,
        perTopic,
        findingTopics,
        writingOverview,
        listingDecisions,
        listingOutcomes,
        finalCombined,
        readingWholeMeeting,
        merging
    };
    Stage stage = Stage::perPart;
    int step = 1;
    int count = 1;
    /// The count includes three fixed closing steps (overview, decisions, outcomes).
    bool countIncludesClosingSteps = false;
    bool operator==(const GenerationProgress&) const = default;
};
using ProgressHandler = std::function<void(const GenerationProgress&)>;

struct LongMeetingResult {
    std::optional<std::string> summary{};
    std::optional<std::string> actionItems{};

    static constexpr const char* summaryMarker = "=== SUMMARY ===";
    static constexpr const char* actionItemsMarker = "=== ACTION ITEMS ===";
    /// Splits a combined answer at its markers; a missing marker leaves its part empty (nothing), and an
    /// answer without any marker is taken as the summary when a summary was asked for.
    static LongMeetingResult parse(const std::string& answer, bool wantsSummary, bool wantsActionItems);
    bool operator==(const LongMeetingResult&) const = default;
};

struct LongMeeting {
    /// Characters of meeting text in one prompt.
    static constexpr size_t partBudget = 24000;

    /// The transcript cut at line ends into parts of at most `budget` characters (a longer line is cut).
    static std::vector<std::string> splitIntoParts(const std::string& transcript, size_t budget = partBudget);
    /// The notes joined with blank lines, each cut so that the whole stays within `budget` characters.
    static std::string joinWithinBudget(const std::vector<std::string>& notes, size_t budget = partBudget);

    static TextStream summary(AIService& ai, std::string transcript, SummaryTemplate summaryTemplate,
                              SummaryBrief brief, LLMEngine::GenerationParameters parameters,
                              std::string sessionId, LLMExecutionMode mode, ProgressHandler progress = {});
    static TextStream actionItems(AIService& ai, std::string transcript, std::string query,
                                  LLMEngine::GenerationParameters parameters, std::string sessionId,
                                  LLMExecutionMode mode, ProgressHandler progress = {});
    /// One request for both; the stream carries the combined answer (see `LongMeetingResult::parse`).
    static TextStream combined(AIService& ai, std::string transcript, bool wantsSummary,
                               bool wantsActionItems, SummaryTemplate summaryTemplate,
                               std::string actionItemsQuery, std::string sessionId, LLMExecutionMode mode,
                               ProgressHandler progress = {});
};

} // namespace Intelligence

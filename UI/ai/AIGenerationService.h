// The inputs of the AI jobs (prompts, transcript samples, calendar context) and their streams. The pure
// text helpers count characters as users see them (grapheme clusters); the stream builders read the
// recording from the database off the main loop and hand the engine (`Intelligence::AIService`) one request.
//
// A stream whose input is missing (no recording, no transcript) is an empty stream; one that cannot start is
// a stream that fails with the error.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Intelligence/ActionItems.h"
#include "Intelligence/LongMeeting.h"
#include "Intelligence/SummaryTemplate.h"
#include "Intelligence/TextStream.h"
#include "Support/Task.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace UI {

struct AIGenerationService {
    using RecordingId = Database::RecordingId;
    using Recording = Database::DatabaseManager::Recording;

    /// The calendar event a recording was made for.
    struct CalendarEvent {
        std::string title{};
        std::optional<std::string> notes{};
        bool operator==(const CalendarEvent&) const = default;
    };
    static std::optional<CalendarEvent> calendarEvent(const Recording& recording);

    struct TitleSource {
        enum class Kind { none, transcript, summary };
        Kind kind = Kind::none;
        std::string text{};
        bool operator==(const TitleSource&) const = default;
    };

    static constexpr size_t titleBudget = 8000;
    static constexpr size_t summaryTitleBudget = 2000;

    static constexpr const char* titleFromTranscriptInstruction =
        "Generate the best short title for this meeting from the transcript context.\n\nREQUIREMENTS:\n- 3 "
        "to 8 "
        "words\n- Plain text only\n- Use title case\n- Focus on the actual topic discussed\n- Return exactly "
        "one "
        "line";
    static constexpr const char* titleFromSummaryInstruction =
        "Generate the best short title for this meeting from the summary context.\n\nREQUIREMENTS:\n- 3 to 8 "
        "words\n- Plain text only\n- Use title case\n- Focus on the main topic or purpose\n- Return exactly "
        "one "
        "line";
    static constexpr const char* titleSystemPrompt =
        "You generate concise meeting titles.\nReturn exactly one line containing only the title words.\nDo "
        "not "
        "add labels, markdown, bullets, quotes, or explanations.";

    // Pure text helpers.
    static std::string transcriptSample(const std::string& text);
    static std::string sampleTranscript(const std::string& text, size_t budget);
    static TitleSource titleSource(const std::string& transcript, const std::optional<std::string>& summary,
                                   size_t reserved);
    static std::string eventTitlePreamble(const std::optional<CalendarEvent>& event);
    static std::string summaryTitleContext(const std::string& summary,
                                           const std::optional<CalendarEvent>& event);
    static std::string summaryMeetingContext(const std::string& title,
                                             const std::optional<CalendarEvent>& event,
                                             const std::optional<std::string>& meetingPlatform);

    /// The transcript as the one line format ("Alice (0:05): Hi"), one line per turn.
    static std::string
    transcriptText(const std::vector<Database::DatabaseManager::TranscriptSegment>& segments);

    // Input builders (blocking: they read the database).
    static std::string actionItemsQuery(RecordingId recordingId, Database::DatabaseManager& database);
    static Intelligence::ActionItemFilter::Context
    actionItemFilterContext(RecordingId recordingId, Database::DatabaseManager& database);
    static Intelligence::ActionItemMeetingKindValue meetingKind(RecordingId recordingId,
                                                                Database::DatabaseManager& database);
    static std::string summaryMeetingContext(RecordingId recordingId, Database::DatabaseManager& database);
    static std::string summaryQuery(const Intelligence::SummaryTemplate& summaryTemplate);
    /// Cleans, filters and stores a raw action-item answer; returns the stored list (empty when the answer
    /// said there are none).
    static std::vector<Database::DatabaseManager::ActionItem>
    finalActionItems(RecordingId recordingId, const std::string& response,
                     Database::DatabaseManager& database);

    // Streams.
    static Intelligence::TextStream
    generateTitle(RecordingId recordingId, Database::DatabaseManager& database, Intelligence::AIService& ai);
    static Intelligence::TextStream generateTitleFromSummary(const std::string& summary,
                                                             const std::optional<CalendarEvent>& event,
                                                             Intelligence::AIService& ai);
    static Intelligence::TextStream
    generateSummary(RecordingId recordingId, const Intelligence::SummaryTemplate& summaryTemplate,
                    std::optional<std::string> sessionId, Intelligence::LLMExecutionMode mode,
                    Database::DatabaseManager& database, Intelligence::AIService& ai,
                    Intelligence::ProgressHandler progress = {});
    static Intelligence::TextStream
    generateActionItems(RecordingId recordingId, std::optional<std::string> sessionId,
                        Intelligence::LLMExecutionMode mode, Database::DatabaseManager& database,
                        Intelligence::AIService& ai, Intelligence::ProgressHandler progress = {});
    /// Summary and action items in one request; `onComplete` gets the split result when the stream ends.
    static Intelligence::TextStream
    generateMeetingContent(RecordingId recordingId, bool wantsSummary, bool wantsActionItems,
                           const Intelligence::SummaryTemplate& summaryTemplate,
                           Intelligence::LLMExecutionMode mode, Database::DatabaseManager& database,
                           Intelligence::AIService& ai,
                           std::function<void(const Intelligence::LongMeetingResult&)> onComplete,
                           Intelligence::ProgressHandler progress = {});

    static Support::Task<void> waitUntilModelIsReady(Intelligence::AIService& ai,
                                                     std::function<void()> prepare);
    static Intelligence::AIService::Generation liveReadiness(const Intelligence::AIService& ai);
};

} // namespace UI

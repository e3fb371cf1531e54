#include "UI/ai/AIGenerationService.h"

#include "Database/TranscriptTextFormatter.h"
#include "Support/BlockingWork.h"
#include "Support/Text.h"
#include "UI/library/TextCleaning.h"

#include <algorithm>

namespace UI {

namespace {

using Intelligence::TextStream;
using Support::Task;
namespace Text = Support::Text;

/// `count` characters of `s` starting at character `start` (fewer when the text ends first).
std::string graphemeSlice(std::string_view s, size_t start, size_t count) {
    const size_t skip = Text::graphemePrefix(s, start).size();
    return Text::graphemePrefix(s.substr(skip), count);
}

/// White space runs collapsed to one blank, ends trimmed.
std::string collapsed(std::string_view s) {
    std::vector<std::string> words;
    std::string word;
    size_t pos = 0;
    while (pos < s.size()) {
        const size_t start = pos;
        const char32_t c = Text::decodeNext(s, pos);
        if (Text::isWhitespace(c) || Text::isNewline(c)) {
            if (!word.empty()) {
                words.push_back(std::move(word));
                word.clear();
            }
        } else {
            word.append(s.substr(start, pos - start));
        }
    }
    if (!word.empty()) {
        words.push_back(std::move(word));
    }
    return Text::joined(words, " ");
}

Task<void> forwardFragments(TextStream stream, TextStream::Sink sink) {
    while (true) {
        auto fragment = co_await stream.next();
        if (!fragment) {
            break;
        }
        sink.yield(std::move(*fragment));
    }
}

struct RecordingInput {
    std::optional<Database::DatabaseManager::Recording> recording;
    std::string transcript;
};

Task<RecordingInput> readRecording(Database::DatabaseManager& database, Database::RecordingId id) {
    auto pending1 = Support::BlockingWork::run([&database, id] {
        RecordingInput in;
        in.recording = database.recording(id);
        if (in.recording) {
            in.transcript = AIGenerationService::transcriptText(database.allSegments(id));
        }
        return in;
    });
    auto input = co_await pending1;
    co_return input;
}

} // namespace

std::optional<AIGenerationService::CalendarEvent>
AIGenerationService::calendarEvent(const Recording& recording) {
    if (!recording.calendarEventTitle) {
        return std::nullopt;
    }
    return CalendarEvent{*recording.calendarEventTitle, recording.calendarEventNotes};
}

std::string AIGenerationService::transcriptSample(const std::string& text) {
    const size_t length = Text::graphemeCount(text);
    if (length < 14001) {
        return text;
    }
    return Text::graphemePrefix(text, 8000) + "\n" + graphemeSlice(text, length / 2 - 2000, 4000) + "\n" +
           Text::graphemeSuffix(text, 2000);
}

std::string AIGenerationService::sampleTranscript(const std::string& text, size_t budget) {
    const size_t length = Text::graphemeCount(text);
    if (length <= budget) {
        return text;
    }
    const size_t chunk = budget <= 62 ? 1 : (budget - 60) / 3;
    const size_t middleStart = length / 2 > chunk / 2 ? length / 2 - chunk / 2 : 0;
    return Text::graphemePrefix(text, chunk) + "\n...[middle]...\n" +
           graphemeSlice(text, middleStart, chunk) + "\n...[end]...\n" + Text::graphemeSuffix(text, chunk);
}

AIGenerationService::TitleSource AIGenerationService::titleSource(const std::string& transcript,
                                                                  const std::optional<std::string>& summary,
                                                                  size_t reserved) {
    const auto text = Text::trimmed(transcript);
    std::optional<std::string> usableSummary;
    if (summary) {
        auto trimmedSummary = Text::trimmed(*summary);
        if (!trimmedSummary.empty() && !Text::startsWith(trimmedSummary, "[No")) {
            usableSummary = std::move(trimmedSummary);
        }
    }
    const size_t budget = titleBudget > reserved ? std::max<size_t>(titleBudget - reserved, 1) : 1;
    if (text.empty()) {
        if (usableSummary) {
            return {TitleSource::Kind::summary, *usableSummary};
        }
        return {};
    }
    if (Text::graphemeCount(text) <= budget) {
        return {TitleSource::Kind::transcript, text};
    }
    if (usableSummary) {
        return {TitleSource::Kind::summary, *usableSummary};
    }
    return {TitleSource::Kind::transcript, sampleTranscript(text, budget)};
}

std::string AIGenerationService::eventTitlePreamble(const std::optional<CalendarEvent>& event) {
    if (!event) {
        return "";
    }
    const auto title = Text::graphemePrefix(collapsed(event->title), 200);
    if (title.empty()) {
        return "";
    }
    std::vector<std::string> lines{"Scheduled calendar event: \"" + title + "\"."};
    if (event->notes) {
        auto notes = collapsed(*event->notes);
        if (!notes.empty()) {
            if (Text::graphemeCount(notes) >= 401) {
                notes = Text::graphemePrefix(notes, 399) + "…";
            }
            lines.push_back("Agenda: " + notes);
        }
    }
    lines.emplace_back("Prefer what the conversation was actually about; reuse the event's words when they "
                       "describe it.");
    return Text::joined(lines, "\n") + "\n\n";
}

std::string AIGenerationService::summaryTitleContext(const std::string& summary,
                                                     const std::optional<CalendarEvent>& event) {
    const auto preamble = eventTitlePreamble(event);
    const size_t reserved = Text::graphemeCount(preamble);
    const size_t budget =
        summaryTitleBudget > reserved ? std::max<size_t>(summaryTitleBudget - reserved, 1) : 1;
    return preamble + sampleTranscript(summary, budget);
}

std::string AIGenerationService::summaryMeetingContext(const std::string& title,
                                                       const std::optional<CalendarEvent>& event,
                                                       const std::optional<std::string>& meetingPlatform) {
    std::vector<std::string> lines;
    if (!Text::isBlank(title)) {
        lines.push_back("Recording title: " + collapsed(title));
    }
    if (event) {
        if (auto t = collapsed(event->title); !t.empty()) {
            lines.push_back("Calendar event: " + Text::graphemePrefix(t, 200));
        }
        if (event->notes) {
            if (auto n = collapsed(*event->notes); !n.empty()) {
                lines.push_back("Agenda: " + Text::graphemePrefix(n, 400));
            }
        }
    }
    if (meetingPlatform && !meetingPlatform->empty()) {
        lines.push_back("Platform: " + *meetingPlatform);
    }
    return Text::joined(lines, "\n");
}

std::string AIGenerationService::transcriptText(
    const std::vector<Database::DatabaseManager::TranscriptSegment>& segments) {
    return Text::joined(Database::TranscriptTextFormatter::lines(segments), "\n");
}

Intelligence::ActionItemMeetingKindValue
AIGenerationService::meetingKind(RecordingId recordingId, Database::DatabaseManager& database) {
    auto recording = database.recording(recordingId);
    if (!recording) {
        return Intelligence::ActionItemMeetingKindValue::general;
    }
    const auto sample = transcriptSample(transcriptText(database.allSegments(recordingId)));
    return Intelligence::ActionItemMeetingKind::classify(recording->title, recording->summary.value_or(""),
                                                         sample);
}

Intelligence::ActionItemFilter::Context
AIGenerationService::actionItemFilterContext(RecordingId recordingId, Database::DatabaseManager& database) {
    Intelligence::ActionItemFilter::Context context;
    if (auto recording = database.recording(recordingId)) {
        auto roster =
            Intelligence::MeetingRosterTimeline::build(*recording, database.allSegments(recordingId));
        context.people = Intelligence::ActionItemPrompt::peopleNames(roster);
        context.kind = meetingKind(recordingId, database);
    }
    return context;
}

std::string AIGenerationService::actionItemsQuery(RecordingId recordingId,
                                                  Database::DatabaseManager& database) {
    auto context = actionItemFilterContext(recordingId, database);
    return Intelligence::ActionItemPrompt::query(context.people, context.kind);
}

std::string AIGenerationService::summaryMeetingContext(RecordingId recordingId,
                                                       Database::DatabaseManager& database) {
    auto recording = database.recording(recordingId);
    if (!recording) {
        return "";
    }
    return summaryMeetingContext(recording->title, calendarEvent(*recording), recording->meetingPlatform);
}

std::string AIGenerationService::summaryQuery(const Intelligence::SummaryTemplate& summaryTemplate) {
    return Intelligence::summaryInstruction(summaryTemplate,
                                            Intelligence::SummaryBrief::from(summaryTemplate));
}

std::vector<Database::DatabaseManager::ActionItem>
AIGenerationService::finalActionItems(RecordingId recordingId, const std::string& response,
                                      Database::DatabaseManager& database) {
    const auto cleaned = TextCleaning::cleanActionItemsResponse(response);
    std::string filtered;
    if (cleaned) {
        filtered =
            Intelligence::ActionItemFilter::filter(*cleaned, actionItemFilterContext(recordingId, database));
    }
    return Intelligence::ActionItemsReconciler::reconcile(recordingId, filtered, database);
}

TextStream AIGenerationService::generateTitleFromSummary(const std::string& summary,
                                                         const std::optional<CalendarEvent>& event,
                                                         Intelligence::AIService& ai) {
    Intelligence::AIService::Request request;
    request.instruction = titleFromSummaryInstruction;
    request.context = summaryTitleContext(summary, event);
    request.systemPrompt = titleSystemPrompt;
    request.parameters = Intelligence::LLMEngine::GenerationParameters::title();
    return ai.generate(std::move(request));
}

TextStream AIGenerationService::generateTitle(RecordingId recordingId, Database::DatabaseManager& database,
                                              Intelligence::AIService& ai) {
    return TextStream::make([recordingId, &database, &ai](TextStream::Sink sink) -> Task<void> {
        auto reading = Support::awaitOwned(readRecording(database, recordingId));
        auto input = co_await reading;
        if (!input.recording) {
            co_return;
        }
        const auto event = calendarEvent(*input.recording);
        const auto preamble = eventTitlePreamble(event);
        const auto source =
            titleSource(input.transcript, input.recording->summary, Text::graphemeCount(preamble));
        if (source.kind == TitleSource::Kind::none) {
            co_return;
        }
        if (source.kind == TitleSource::Kind::summary) {
            auto stream = generateTitleFromSummary(source.text, event, ai);
            auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
            co_await forwarding;
            co_return;
        }
        Intelligence::AIService::Request request;
        request.instruction = titleFromTranscriptInstruction;
        request.context = preamble + source.text;
        request.systemPrompt = titleSystemPrompt;
        request.parameters = Intelligence::LLMEngine::GenerationParameters::title();
        auto stream = ai.generate(std::move(request));
        auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
        co_await forwarding;
    });
}

TextStream AIGenerationService::generateSummary(RecordingId recordingId,
                                                const Intelligence::SummaryTemplate& summaryTemplate,
                                                std::optional<std::string> sessionId,
                                                Intelligence::LLMExecutionMode mode,
                                                Database::DatabaseManager& database,
                                                Intelligence::AIService& ai,
                                                Intelligence::ProgressHandler progress) {
    auto session = sessionId.value_or("auto-summary-" + std::to_string(recordingId));
    return TextStream::make([recordingId, summaryTemplate, session, mode, &database, &ai,
                             progress](TextStream::Sink sink) -> Task<void> {
        auto reading = Support::awaitOwned(readRecording(database, recordingId));
        auto input = co_await reading;
        if (!input.recording || Text::isBlank(input.transcript)) {
            co_return;
        }
        auto stream = Intelligence::LongMeeting::summary(
            ai, std::move(input.transcript), summaryTemplate,
            Intelligence::SummaryBrief::from(summaryTemplate),
            Intelligence::LLMEngine::GenerationParameters::summary(), session, mode, progress);
        auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
        co_await forwarding;
    });
}

TextStream AIGenerationService::generateActionItems(RecordingId recordingId,
                                                    std::optional<std::string> sessionId,
                                                    Intelligence::LLMExecutionMode mode,
                                                    Database::DatabaseManager& database,
                                                    Intelligence::AIService& ai,
                                                    Intelligence::ProgressHandler progress) {
    auto session = sessionId.value_or("auto-actions-" + std::to_string(recordingId));
    return TextStream::make(
        [recordingId, session, mode, &database, &ai, progress](TextStream::Sink sink) -> Task<void> {
            struct Input {
                RecordingInput recording;
                std::string query;
            };
            auto pending2 = Support::BlockingWork::run([&database, recordingId] {
                Input in;
                in.recording.recording = database.recording(recordingId);
                if (in.recording.recording) {
                    in.recording.transcript = transcriptText(database.allSegments(recordingId));
                    in.query = actionItemsQuery(recordingId, database);
                }
                return in;
            });
            auto input = co_await pending2;
            if (!input.recording.recording || Text::isBlank(input.recording.transcript)) {
                co_return;
            }
            auto stream = Intelligence::LongMeeting::actionItems(
                ai, std::move(input.recording.transcript), input.query,
                Intelligence::LLMEngine::GenerationParameters::actionItems(), session, mode, progress);
            auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
            co_await forwarding;
        });
}

TextStream AIGenerationService::generateMeetingContent(
    RecordingId recordingId, bool wantsSummary, bool wantsActionItems,
    const Intelligence::SummaryTemplate& summaryTemplate, Intelligence::LLMExecutionMode mode,
    Database::DatabaseManager& database, Intelligence::AIService& ai,
    std::function<void(const Intelligence::LongMeetingResult&)> onComplete,
    Intelligence::ProgressHandler progress) {
    return TextStream::make([=, &database, &ai](TextStream::Sink sink) -> Task<void> {
        struct Input {
            RecordingInput recording;
            std::string query;
        };
        auto pending3 = Support::BlockingWork::run([&database, recordingId, wantsActionItems] {
            Input in;
            in.recording.recording = database.recording(recordingId);
            if (in.recording.recording) {
                in.recording.transcript = transcriptText(database.allSegments(recordingId));
                if (wantsActionItems) {
                    in.query = actionItemsQuery(recordingId, database);
                }
            }
            return in;
        });
        auto input = co_await pending3;
        if (!input.recording.recording || Text::isBlank(input.recording.transcript)) {
            co_return;
        }
        auto stream = Intelligence::LongMeeting::combined(
            ai, std::move(input.recording.transcript), wantsSummary, wantsActionItems, summaryTemplate,
            input.query, "auto-content-" + std::to_string(recordingId), mode, progress);
        std::string answer;
        while (true) {
            auto fragment = co_await stream.next();
            if (!fragment) {
                break;
            }
            answer += *fragment;
            sink.yield(std::move(*fragment));
        }
        if (onComplete) {
            onComplete(Intelligence::LongMeetingResult::parse(answer, wantsSummary, wantsActionItems));
        }
    });
}

Task<void> AIGenerationService::waitUntilModelIsReady(Intelligence::AIService& ai,
                                                      std::function<void()> prepare) {
    auto wait = Support::awaitOwned(ai.waitUntilReady(std::move(prepare)));
    co_await wait;
}

Intelligence::AIService::Generation AIGenerationService::liveReadiness(const Intelligence::AIService& ai) {
    return ai.liveReadiness();
}

} // namespace UI

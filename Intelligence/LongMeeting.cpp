#include "Intelligence/LongMeeting.h"

#include "Intelligence/ActionItems.h"
#include "Support/Text.h"

namespace Intelligence {

namespace {

using Support::Task;

/// Byte length of the first `count` characters of `s`.
size_t prefixBytes(std::string_view s, size_t count) {
    return Support::Text::graphemePrefix(s, count).size();
}

std::string partNotesInstruction(int index, int count, bool forActionItems) {
    std::string text = "This is part " + std::to_string(index) + " of " + std::to_string(count) +
                       " of a long meeting transcript.\n";
    if (forActionItems) {
        text += "List every action item in this part, one per line starting with \"- \", with its owner when "
                "known. If there are none, answer \"None.\"";
    } else {
        text += "Write brief notes on this part: topics discussed, decisions made, and tasks or next steps "
                "agreed, with names when they are known. Plain bullet points, at most 200 words.";
    }
    return text;
}

/// Runs the part requests and returns their notes, reporting each part as progress.
Task<std::vector<std::string>> partNotes(AIService& ai, const std::vector<std::string>& parts,
                                         bool forActionItems, LLMEngine::GenerationParameters parameters,
                                         std::string sessionId, ProgressHandler progress) {
    std::vector<std::string> notes;
    const int count = static_cast<int>(parts.size());
    for (int i = 0; i < count; ++i) {
        if (progress) {
            progress(GenerationProgress{GenerationProgress::Stage::perPart, i + 1, count, false});
        }
        AIService::Request request;
        request.instruction = partNotesInstruction(i + 1, count, forActionItems);
        request.context = parts[static_cast<size_t>(i)];
        request.systemPrompt = forActionItems ? actionItemsSystemPrompt : summarySystemPrompt;
        request.parameters = parameters;
        request.sessionId = sessionId;
        auto collecting = Support::awaitOwned(TextStream::collect(ai.generate(std::move(request))));
        auto text = co_await collecting;
        notes.push_back(Support::Text::trimmed(text));
    }
    co_return notes;
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

std::string combinedInstruction(bool wantsSummary, bool wantsActionItems,
                                const SummaryTemplate& summaryTemplate, const std::string& actionItemsQuery) {
    std::string text;
    if (wantsSummary) {
        text += std::string("Write the line \"") + LongMeetingResult::summaryMarker + "\", then:\n" +
                summaryInstruction(summaryTemplate, SummaryBrief::from(summaryTemplate)) + "\n\n";
    }
    if (wantsActionItems) {
        text += std::string("Write the line \"") + LongMeetingResult::actionItemsMarker + "\", then:\n" +
                actionItemsQuery;
    }
    return text;
}

} // namespace

LongMeetingResult LongMeetingResult::parse(const std::string& answer, bool wantsSummary,
                                           bool wantsActionItems) {
    LongMeetingResult result;
    const auto s = answer.find(summaryMarker);
    const auto a = answer.find(actionItemsMarker);
    auto slice = [&](size_t from, size_t to) -> std::optional<std::string> {
        auto text = Support::Text::trimmed(std::string_view(answer).substr(from, to - from));
        if (text.empty()) {
            return std::nullopt;
        }
        return text;
    };
    if (s == std::string::npos && a == std::string::npos) {
        if (wantsSummary) {
            result.summary = slice(0, answer.size());
        } else if (wantsActionItems) {
            result.actionItems = slice(0, answer.size());
        }
        return result;
    }
    const std::string_view sm(summaryMarker), am(actionItemsMarker);
    if (wantsSummary && s != std::string::npos) {
        result.summary = slice(s + sm.size(), a != std::string::npos && a > s ? a : answer.size());
    }
    if (wantsActionItems && a != std::string::npos) {
        result.actionItems = slice(a + am.size(), s != std::string::npos && s > a ? s : answer.size());
    }
    return result;
}

std::vector<std::string> LongMeeting::splitIntoParts(const std::string& transcript, size_t budget) {
    std::vector<std::string> parts;
    if (budget == 0) {
        return parts;
    }
    std::string current;
    size_t currentCount = 0;
    auto flush = [&] {
        if (!current.empty()) {
            parts.push_back(std::move(current));
        }
        current.clear();
        currentCount = 0;
    };
    for (auto& line : Support::Text::lines(transcript)) {
        std::string_view rest = line;
        size_t count = Support::Text::graphemeCount(rest);
        while (count > budget) {
            flush();
            const size_t bytes = prefixBytes(rest, budget);
            parts.emplace_back(rest.substr(0, bytes));
            rest.remove_prefix(bytes);
            count -= budget;
        }
        const size_t needed = count + (current.empty() ? 0 : 1);
        if (currentCount + needed > budget) {
            flush();
        }
        if (!current.empty()) {
            current += '\n';
            ++currentCount;
        }
        current.append(rest);
        currentCount += count;
    }
    flush();
    return parts;
}

std::string LongMeeting::joinWithinBudget(const std::vector<std::string>& notes, size_t budget) {
    if (notes.empty()) {
        return "";
    }
    const size_t separators = 2 * (notes.size() - 1);
    const size_t each = budget > separators ? (budget - separators) / notes.size() : 0;
    std::vector<std::string> cut;
    cut.reserve(notes.size());
    for (const auto& note : notes) {
        cut.push_back(Support::Text::graphemePrefix(note, each));
    }
    return Support::Text::joined(cut, "\n\n");
}

TextStream LongMeeting::summary(AIService& ai, std::string transcript, SummaryTemplate summaryTemplate,
                                SummaryBrief brief, LLMEngine::GenerationParameters parameters,
                                std::string sessionId, LLMExecutionMode, ProgressHandler progress) {
    auto parts = splitIntoParts(transcript);
    AIService::Request final;
    final.instruction = summaryInstruction(summaryTemplate, brief);
    final.systemPrompt = summarySystemPrompt;
    final.parameters = parameters;
    final.sessionId = sessionId;
    if (parts.size() <= 1) {
        final.context = parts.empty() ? "" : parts.front();
        return ai.generate(std::move(final));
    }
    return TextStream::make([&ai, parts = std::move(parts), final, parameters, sessionId,
                             progress](TextStream::Sink sink) -> Task<void> {
        auto reading = Support::awaitOwned(partNotes(ai, parts, false, parameters, sessionId, progress));
        auto notes = co_await reading;
        if (progress) {
            progress(GenerationProgress{GenerationProgress::Stage::finalCombined, 1, 1, false});
        }
        auto request = final;
        request.instruction +=
            "\n\nThe meeting was long: below are notes on its parts, in order. Summarize the "
            "whole meeting from them.";
        request.context = joinWithinBudget(notes);
        auto stream = ai.generate(std::move(request));
        auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
        co_await forwarding;
    });
}

TextStream LongMeeting::actionItems(AIService& ai, std::string transcript, std::string query,
                                    LLMEngine::GenerationParameters parameters, std::string sessionId,
                                    LLMExecutionMode, ProgressHandler progress) {
    auto parts = splitIntoParts(transcript);
    AIService::Request final;
    final.instruction = query;
    final.systemPrompt = actionItemsSystemPrompt;
    final.parameters = parameters;
    final.sessionId = sessionId;
    if (parts.size() <= 1) {
        final.context = parts.empty() ? "" : parts.front();
        return TextStream::make([&ai, final, progress](TextStream::Sink sink) -> Task<void> {
            if (progress) {
                progress(GenerationProgress{GenerationProgress::Stage::readingWholeMeeting, 1, 1, false});
            }
            auto stream = ai.generate(final);
            auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
            co_await forwarding;
        });
    }
    return TextStream::make([&ai, parts = std::move(parts), final, parameters, sessionId,
                             progress](TextStream::Sink sink) -> Task<void> {
        auto reading = Support::awaitOwned(partNotes(ai, parts, true, parameters, sessionId, progress));
        auto notes = co_await reading;
        if (progress) {
            progress(GenerationProgress{GenerationProgress::Stage::merging, 1, 1, false});
        }
        auto request = final;
        request.instruction += "\n\nThe meeting was long: below are the action items found in each part, in "
                               "order. Combine them into one list without duplicates.";
        request.context = joinWithinBudget(notes);
        auto stream = ai.generate(std::move(request));
        auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
        co_await forwarding;
    });
}

TextStream LongMeeting::combined(AIService& ai, std::string transcript, bool wantsSummary,
                                 bool wantsActionItems, SummaryTemplate summaryTemplate,
                                 std::string actionItemsQuery, std::string sessionId, LLMExecutionMode,
                                 ProgressHandler progress) {
    if (!wantsSummary && !wantsActionItems) {
        return TextStream::empty();
    }
    auto parts = splitIntoParts(transcript);
    AIService::Request final;
    final.instruction =
        combinedInstruction(wantsSummary, wantsActionItems, summaryTemplate, actionItemsQuery);
    final.systemPrompt = summarySystemPrompt;
    final.parameters = LLMEngine::GenerationParameters::summary();
    final.sessionId = sessionId;
    if (parts.size() <= 1) {
        final.context = parts.empty() ? "" : parts.front();
        return ai.generate(std::move(final));
    }
    auto parameters = final.parameters;
    return TextStream::make([&ai, parts = std::move(parts), final, parameters, sessionId,
                             progress](TextStream::Sink sink) -> Task<void> {
        auto reading = Support::awaitOwned(partNotes(ai, parts, false, parameters, sessionId, progress));
        auto notes = co_await reading;
        if (progress) {
            progress(GenerationProgress{GenerationProgress::Stage::finalCombined, 1, 1, false});
        }
        auto request = final;
        request.instruction += "\n\nThe meeting was long: below are notes on its parts, in order.";
        request.context = joinWithinBudget(notes);
        auto stream = ai.generate(std::move(request));
        auto forwarding = Support::awaitOwned(forwardFragments(stream, sink));
        co_await forwarding;
    });
}

} // namespace Intelligence

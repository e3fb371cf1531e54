#include "Intelligence/RAGPipeline.h"

#include "Support/BlockingWork.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Intelligence {

namespace {

const std::set<std::string>& stopWords() {
    static const std::set<std::string> words = {
        "a",     "about",  "all",     "also",      "an",   "and",     "any",      "are",       "as",
        "at",    "be",     "been",    "but",       "by",   "can",     "could",    "did",       "do",
        "does",  "for",    "from",    "get",       "had",  "has",     "have",     "he",        "her",
        "his",   "how",    "i",       "if",        "in",   "into",    "is",       "it",        "its",
        "me",    "my",     "of",      "on",        "or",   "our",     "she",      "so",        "some",
        "than",  "that",   "the",     "their",     "them", "then",    "there",    "these",     "they",
        "this",  "those",  "to",      "us",        "was",  "we",      "were",     "what",      "when",
        "where", "which",  "who",     "whom",      "why",  "will",    "with",     "would",     "you",
        "your",  "tell",   "said",    "say",       "says", "meeting", "meetings", "recording", "recordings",
        "talk",  "talked", "discuss", "discussed",
    };
    return words;
}

std::string clock(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0) {
        seconds = 0;
    }
    auto total = static_cast<long long>(seconds);
    if (total >= 3600) {
        return fmt::format("{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60);
    }
    return fmt::format("{}:{:02}", total / 60, total % 60);
}

} // namespace

std::vector<std::string> RAGPipeline::keywords(const std::string& question) {
    std::vector<std::string> result;
    std::set<std::string> seen;
    std::string word;
    auto flush = [&] {
        if (!word.empty() && Support::Text::graphemeCount(word) >= 2 && !stopWords().count(word) &&
            seen.insert(word).second) {
            result.push_back(word);
        }
        word.clear();
    };
    const auto lower = Support::Text::lowercased(question);
    size_t pos = 0;
    while (pos < lower.size()) {
        const size_t start = pos;
        const char32_t c = Support::Text::decodeNext(lower, pos);
        const bool isWordChar = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c >= 0x80;
        if (isWordChar && !Support::Text::isWhitespace(c) && c != 0xFFFD && c != 0x2019 && c != 0x2018 &&
            c != 0x201C && c != 0x201D) {
            word.append(lower, start, pos - start);
        } else {
            flush();
        }
    }
    flush();
    return result;
}

AnswerSources RAGPipeline::retrieve(const std::string& question, const ChatScope& scope) const {
    struct Candidate {
        Database::DatabaseManager::TranscriptMatch match;
        int keywordsMatched = 0;
    };
    std::map<std::int64_t, Candidate> candidates;
    for (const auto& word : keywords(question)) {
        for (auto& match : database_.searchTranscripts(word, 200)) {
            if (!scope.includes(match.recordingId)) {
                continue;
            }
            auto [it, inserted] = candidates.try_emplace(match.segmentId, Candidate{match, 0});
            it->second.keywordsMatched += 1;
            it->second.match.score = std::min(it->second.match.score, match.score);
        }
    }
    std::vector<Candidate> ranked;
    ranked.reserve(candidates.size());
    for (auto& [id, c] : candidates) {
        ranked.push_back(std::move(c));
    }
    std::sort(ranked.begin(), ranked.end(), [](const Candidate& a, const Candidate& b) {
        if (a.keywordsMatched != b.keywordsMatched) {
            return a.keywordsMatched > b.keywordsMatched;
        }
        if (a.match.score != b.match.score) {
            return a.match.score < b.match.score;
        }
        return a.match.segmentId < b.match.segmentId;
    });
    AnswerSources sources;
    std::map<Database::RecordingId, std::string> titles;
    size_t used = 0;
    for (auto& c : ranked) {
        if (static_cast<int>(sources.all.size()) >= maximumSources) {
            break;
        }
        const size_t length = Support::Text::graphemeCount(c.match.text);
        if (used + length > passageBudget) {
            if (!sources.all.empty()) {
                continue;
            }
            c.match.text = Support::Text::graphemePrefix(c.match.text, passageBudget);
        }
        used += std::min(length, passageBudget);
        auto title = titles.find(c.match.recordingId);
        if (title == titles.end()) {
            auto recording = database_.recording(c.match.recordingId);
            title = titles.emplace(c.match.recordingId, recording ? recording->title : "").first;
        }
        sources.all.push_back({static_cast<int>(sources.all.size()) + 1, c.match.recordingId, title->second,
                               c.match.segmentId, c.match.startTime, c.match.speaker, c.match.text});
    }
    return sources;
}

std::pair<std::string, std::string> RAGPipeline::prompt(const std::string& question,
                                                        const AnswerSources& sources) {
    std::string context = "Transcript passages:\n";
    for (const auto& s : sources.all) {
        context += fmt::format("[{}] \"{}\" at {}", s.number, s.recordingTitle, clock(s.startTime));
        if (!s.speaker.empty()) {
            context += ", " + s.speaker;
        }
        context += ": " + s.text + "\n";
    }
    return {"Question: " + question + "\n\nAnswer from the passages below and cite them by number.", context};
}

Support::Task<RAGPipeline::Answer> RAGPipeline::answer(std::string question, ChatScope scope,
                                                       std::string sessionId) {
    if (ai_.liveReadiness().kind != AIService::Generation::Kind::ready) {
        throw RetrievalError(RetrievalError::Kind::notReady, "The AI model is still loading.");
    }
    if (keywords(question).empty()) {
        throw RetrievalError(RetrievalError::Kind::noMatches, "Nothing in your recordings matched that.");
    }
    auto pending1 = Support::BlockingWork::run([this, question, scope] { return retrieve(question, scope); });
    auto sources = co_await pending1;
    if (sources.all.empty()) {
        throw RetrievalError(RetrievalError::Kind::noMatches, "Nothing in your recordings matched that.");
    }
    auto built = prompt(question, sources);
    AIService::Request request;
    request.instruction = std::move(built.first);
    request.context = std::move(built.second);
    request.systemPrompt = systemPrompt;
    request.parameters = LLMEngine::GenerationParameters::chat();
    request.sessionId = sessionId;
    if (auto it = history_->find(sessionId); it != history_->end()) {
        request.history = it->second;
    }
    auto inner = ai_.generate(std::move(request));
    auto history = history_;
    auto tokens =
        TextStream::make([inner, history, sessionId, question](TextStream::Sink sink) -> Support::Task<void> {
            std::string text;
            try {
                while (true) {
                    auto fragment = co_await inner.next();
                    if (!fragment) {
                        break;
                    }
                    text += *fragment;
                    sink.yield(std::move(*fragment));
                }
            } catch (const Support::UserFacingError& e) {
                if (text.empty()) {
                    throw;
                }
                throw AnswerWritingError(e.description());
            }
            auto& turns = (*history)[sessionId];
            turns.emplace_back("user", question);
            turns.emplace_back("assistant", text);
            while (turns.size() > 2 * historyTurns) {
                turns.erase(turns.begin(), turns.begin() + 2);
            }
        });
    Answer answer{tokens, std::move(sources)};
    co_return answer;
}

void RAGPipeline::forgetSession(const std::string& sessionId) {
    history_->erase(sessionId);
}

} // namespace Intelligence

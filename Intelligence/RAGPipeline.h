// Answers questions about recordings: finds the transcript passages that best match the question in the
// full-text index (one recording, or the recordings the chat is scoped to), writes a prompt that numbers
// them as sources, streams the model's answer, and returns the passages as the answer's sources.
//
// Retrieval searches the question's keywords one by one (the index requires every word of a query, and
// questions are full of words no passage has) and ranks passages by how many keywords they match, then by
// their best index score. Each session keeps its last few turns, so a follow-up question has context.
//
// Failures: no keyword or no passage gives `RetrievalError` (`noMatches`), a model still loading gives
// `RetrievalError` (`notReady`); generation failures come from the engine as
// `AIService::GenerationUnavailable`, or as `AnswerWritingError` once part of the answer was streamed; store
// failures as `Database::DatabaseError`.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/AIService.h"
#include "Intelligence/TextStream.h"
#include "Support/Errors.h"
#include "Support/Task.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Intelligence {

struct AnswerSource {
    /// The number the prompt and the answer cite it by ("[1]").
    int number = 0;
    Database::RecordingId recordingId = 0;
    std::string recordingTitle{};
    std::int64_t segmentId = 0;
    double startTime = 0;
    std::string speaker{};
    std::string text{};
    bool operator==(const AnswerSource&) const = default;
};

struct AnswerSources {
    std::vector<AnswerSource> all{};
    bool operator==(const AnswerSources&) const = default;
};

/// One element of an answer stream: a fragment, and on the last element `isComplete`.
struct RAGResponse {
    std::string token{};
    bool isComplete = false;
    bool operator==(const RAGResponse&) const = default;
};

class RetrievalError : public Support::UserFacingError {
public:
    enum class Kind { notReady, noMatches };
    RetrievalError(Kind kind, const std::string& description)
        : Support::UserFacingError(description), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_{};
};

/// The answer stream broke after part of the answer was written.
class AnswerWritingError : public Support::UserFacingError {
public:
    explicit AnswerWritingError(const std::string& cause)
        : Support::UserFacingError("Couldn't finish the answer: " + cause) {}
};

/// Which recordings a question is about: one, a set (the library's filter), or all of them.
struct ChatScope {
    std::optional<Database::RecordingId> recordingId{};
    std::optional<std::set<Database::RecordingId>> recordings{};
    bool includes(Database::RecordingId id) const {
        if (recordingId) {
            return *recordingId == id;
        }
        return !recordings || recordings->count(id) > 0;
    }
};

class RAGPipeline {
public:
    static constexpr int maximumSources = 8;
    /// Characters of passage text in one prompt.
    static constexpr size_t passageBudget = 6000;
    static constexpr size_t historyTurns = 4;

    RAGPipeline(AIService& ai, Database::DatabaseManager& database) : ai_(ai), database_(database) {}

    /// The words worth searching for: lower-cased, without common question words, once each.
    static std::vector<std::string> keywords(const std::string& question);
    /// The best passages for `question` in `scope`, numbered from 1. Blocking.
    AnswerSources retrieve(const std::string& question, const ChatScope& scope) const;
    /// The instruction and context of the request that answers `question` from `sources`.
    static std::pair<std::string, std::string> prompt(const std::string& question,
                                                      const AnswerSources& sources);

    struct Answer {
        TextStream tokens{};
        AnswerSources sources{};
    };
    /// Retrieves (off the main loop), then starts the answer stream. The turn is remembered in the session
    /// once the stream completes.
    Support::Task<Answer> answer(std::string question, ChatScope scope, std::string sessionId);
    void forgetSession(const std::string& sessionId);

    static constexpr const char* systemPrompt =
        "You answer questions about the user's meeting recordings using only the numbered transcript "
        "passages given. Cite the passages you use with their numbers in square brackets, like [2]. If the "
        "passages do not contain the answer, say so plainly.";

private:
    AIService& ai_;
    Database::DatabaseManager& database_;
    std::shared_ptr<std::map<std::string, std::vector<std::pair<std::string, std::string>>>> history_ =
        std::make_shared<std::map<std::string, std::vector<std::pair<std::string, std::string>>>>();
};

} // namespace Intelligence

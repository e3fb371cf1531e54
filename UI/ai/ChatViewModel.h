// The conversation behind the chat panel: questions about one recording or about all recordings, answers
// streamed from the engine with their sources and matching video moments, stop and clear, and the scope.
//
// Main loop only. Every send and every stop increments `generationID`; an answer stream's output (tokens,
// the final answer, a failure) is applied only while its generation is current, so a late element of a
// stopped or replaced answer never lands. Clearing the history while an answer is being written stops it
// first.
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/MomentHit.h"
#include "Intelligence/RAGPipeline.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"
#include "Support/Time.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Intelligence {
class FrameSearching;
}

namespace UI {

class ChatViewModel {
public:
    struct DisplayMessage {
        std::string id{};
        /// "user" or "assistant".
        std::string role{};
        std::string content{};
        Support::Date timestamp{};
        std::optional<std::vector<Intelligence::MomentHit>> moments{};
        bool operator==(const DisplayMessage&) const = default;
    };
    using Citation = Intelligence::AnswerSource;
    using Recording = Database::DatabaseManager::Recording;

    /// What the view model asks of the engine; `live` wires the real ones.
    struct Dependencies {
        std::function<Support::Task<Intelligence::RAGPipeline::Answer>(
            std::string question, Intelligence::ChatScope, std::string sessionId)>
            answer;
        /// Video moments for a question (none by default).
        std::function<Support::Task<std::vector<Intelligence::MomentHit>>(std::string question)> moments;
        /// How many recordings have a transcript to chat about.
        std::function<Support::Task<int>()> indexedCount;
        std::function<Support::Date()> now;
    };
    static Dependencies live(Intelligence::RAGPipeline& pipeline, Database::DatabaseManager& database,
                             std::shared_ptr<Intelligence::FrameSearching> frameSearch);

    explicit ChatViewModel(Dependencies dependencies);
    ~ChatViewModel();
    ChatViewModel(const ChatViewModel&) = delete;
    ChatViewModel& operator=(const ChatViewModel&) = delete;

    Support::Published<std::vector<DisplayMessage>> messages{};
    Support::Published<std::string> inputText{};
    Support::Published<bool> isGenerating{};
    Support::Published<std::string> streamingResponse{};
    Support::Published<std::optional<std::string>> error{};
    Support::Published<std::vector<Citation>> citations{};
    Support::Published<std::optional<Recording>> recording{};
    /// The recordings an all-recordings chat is limited to (the library's filter); nothing for all.
    Support::Published<std::optional<std::set<Database::RecordingId>>> recordingFilter{};
    Support::Published<int> indexedCount{};
    Support::Published<bool> isIndexingLoading{};
    Support::Published<std::string> sessionId{};
    Support::Published<std::vector<Intelligence::MomentHit>> shownMoments{};

    void sendMessage();
    void stopGeneration();
    void clearHistory();
    void startNewSession();

    /// The user picked a scope: a recording, or all recordings (nothing). Stops following the screen.
    void chooseScope(const std::optional<Recording>& scope);
    /// Asked from the pane beside a recording: scope to it and follow the recording on screen.
    void chooseScopeForAskingFromPane(const std::optional<Recording>& onScreen);
    /// The recording on screen changed; the scope follows it while following.
    void paneChanged(const std::optional<Recording>& onScreen);
    bool hasRecordingScope() const { return recording.get().has_value(); }
    bool followsOnScreenRecording() const { return followsOnScreen_; }

    void refreshIndexingStatus();

    int generationID() const { return generationID_; }

private:
    Intelligence::ChatScope scope() const;

    Dependencies deps_{};
    Support::Task<void> generationTask_{};
    Support::Task<void> momentsTask_{};
    Support::Task<void> indexingTask_{};
    int generationID_ = 0;
    bool followsOnScreen_ = false;
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI

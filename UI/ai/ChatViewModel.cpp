#include "UI/ai/ChatViewModel.h"

#include "Intelligence/FrameSearch.h"
#include "Intelligence/ResponseProcessor.h"
#include "Support/BlockingWork.h"
#include "Support/Text.h"
#include "Support/Uuid.h"
#include "UI/ai/ChatErrorMessage.h"

namespace UI {

using Support::Task;

ChatViewModel::Dependencies ChatViewModel::live(Intelligence::RAGPipeline& pipeline,
                                                Database::DatabaseManager& database,
                                                std::shared_ptr<Intelligence::FrameSearching> frameSearch) {
    Dependencies deps;
    deps.answer = [&pipeline](std::string question, Intelligence::ChatScope scope, std::string sessionId) {
        return pipeline.answer(std::move(question), std::move(scope), std::move(sessionId));
    };
    if (!frameSearch) {
        frameSearch = std::make_shared<Intelligence::NoFrameSearch>();
    }
    deps.moments = [frameSearch](std::string question) -> Task<std::vector<Intelligence::MomentHit>> {
        return Support::startTask([frameSearch, question]() -> Task<std::vector<Intelligence::MomentHit>> {
            auto pending1 = Support::BlockingWork::run([frameSearch, question] {
                auto found = frameSearch->search(question, 6);
                for (auto& hit : found) {
                    hit.source = Intelligence::MomentHit::Source::screen;
                }
                return found;
            });
            auto hits = co_await pending1;
            co_return hits;
        });
    };
    deps.indexedCount = [&database]() -> Task<int> {
        return Support::startTask([&database]() -> Task<int> {
            auto pending2 = Support::BlockingWork::run([&database] {
                int n = 0;
                for (const auto& r : database.allRecordings()) {
                    n += r.hasTranscript ? 1 : 0;
                }
                return n;
            });
            auto count = co_await pending2;
            co_return count;
        });
    };
    deps.now = [] { return Support::systemNow(); };
    return deps;
}

ChatViewModel::ChatViewModel(Dependencies dependencies) : deps_(std::move(dependencies)) {
    sessionId.set(Support::Uuid::generate());
    if (!deps_.now) {
        deps_.now = [] { return Support::systemNow(); };
    }
}

ChatViewModel::~ChatViewModel() = default;

Intelligence::ChatScope ChatViewModel::scope() const {
    Intelligence::ChatScope s;
    if (recording.get()) {
        s.recordingId = recording.get()->id;
    } else {
        s.recordings = recordingFilter.get();
    }
    return s;
}

void ChatViewModel::sendMessage() {
    const auto text = Support::Text::trimmed(inputText.get());
    if (text.empty()) {
        return;
    }
    inputText.set("");
    error.set(std::nullopt);
    auto list = messages.get();
    list.push_back({Support::Uuid::generate(), "user", text, deps_.now(), std::nullopt});
    messages.set(std::move(list));
    isGenerating.set(true);
    streamingResponse.set("");

    auto found = std::make_shared<std::optional<std::vector<Intelligence::MomentHit>>>();
    momentsTask_.cancel();
    if (deps_.moments) {
        auto search = deps_.moments(text);
        momentsTask_ = tasks_.start([search, found]() -> Task<void> {
            try {
                *found = co_await search;
            } catch (const Support::Cancelled&) {
                throw;
            } catch (...) {
                // Moments are an extra: the answer stands without them.
            }
        });
    }
    const int generation = ++generationID_;
    auto answerTask = deps_.answer(text, scope(), sessionId.get());
    generationTask_ = tasks_.start([this, generation, answerTask, found]() -> Task<void> {
        auto current = [this, generation] { return generation == generationID_; };
        try {
            auto start = Support::awaitOwned(answerTask);
            auto answer = co_await start;
            while (true) {
                auto token = co_await answer.tokens.next();
                if (!token) {
                    break;
                }
                if (current()) {
                    streamingResponse.set(streamingResponse.get() + *token);
                }
            }
            if (!current()) {
                co_return;
            }
            auto cleaned = Support::Text::trimmed(Intelligence::ResponseProcessor::stripSpecialTokens(
                Intelligence::ResponseProcessor::stripThinkingPatterns(streamingResponse.get())));
            auto updated = messages.get();
            updated.push_back({Support::Uuid::generate(), "assistant", cleaned, deps_.now(), *found});
            messages.set(std::move(updated));
            shownMoments.set(found->value_or(std::vector<Intelligence::MomentHit>{}));
            citations.set(answer.sources.all);
            streamingResponse.set("");
            isGenerating.set(false);
        } catch (const Support::Cancelled&) {
            throw;
        } catch (...) {
            if (!current()) {
                co_return;
            }
            error.set(ChatErrorMessage::text(std::current_exception()));
            streamingResponse.set("");
            isGenerating.set(false);
        }
    });
}

void ChatViewModel::stopGeneration() {
    generationTask_.cancel();
    generationTask_ = {};
    momentsTask_.cancel();
    momentsTask_ = {};
    ++generationID_;
    if (!streamingResponse.get().empty()) {
        auto list = messages.get();
        list.push_back({Support::Uuid::generate(), "assistant", streamingResponse.get() + " [stopped]",
                        deps_.now(), std::nullopt});
        messages.set(std::move(list));
    }
    isGenerating.set(false);
    streamingResponse.set("");
}

void ChatViewModel::clearHistory() {
    if (isGenerating.get()) {
        stopGeneration();
    }
    messages.set({});
    citations.set({});
    shownMoments.set({});
    error.set(std::nullopt);
}

void ChatViewModel::startNewSession() {
    clearHistory();
    sessionId.set(Support::Uuid::generate());
}

void ChatViewModel::chooseScope(const std::optional<Recording>& scopeRecording) {
    followsOnScreen_ = false;
    recording.set(scopeRecording);
}

void ChatViewModel::chooseScopeForAskingFromPane(const std::optional<Recording>& onScreen) {
    followsOnScreen_ = true;
    recording.set(onScreen);
}

void ChatViewModel::paneChanged(const std::optional<Recording>& onScreen) {
    if (followsOnScreen_) {
        recording.set(onScreen);
    }
}

void ChatViewModel::refreshIndexingStatus() {
    if (!deps_.indexedCount) {
        return;
    }
    isIndexingLoading.set(true);
    auto count = deps_.indexedCount();
    indexingTask_ = tasks_.start([this, count]() -> Task<void> {
        int n = 0;
        try {
            n = co_await count;
        } catch (const Support::Cancelled&) {
            throw;
        } catch (...) {
            n = indexedCount.get();
        }
        indexedCount.set(n);
        isIndexingLoading.set(false);
    });
}

} // namespace UI

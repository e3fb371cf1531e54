// The chat conversation with scripted answers: sending, stopping, late elements of stopped answers, scope,
// and the failure texts.
#include "UI/ai/ChatErrorMessage.h"
#include "UI/ai/ChatModelActionPolicy.h"
#include "UI/ai/ChatViewModel.h"
#include "UI/ai/ModelNotReadyError.h"

#include "Support/MainLoop.h"

#include <gtest/gtest.h>

using namespace UI;
using Intelligence::AnswerSources;
using Intelligence::RAGPipeline;
using Intelligence::TextStream;
using Support::Task;

namespace {

struct Fixture {
    Support::MainLoop loop;
    TextStream::Sink tokens;
    std::optional<Support::Continuation<RAGPipeline::Answer>> pendingAnswer;
    std::vector<std::string> questions;
    std::vector<Intelligence::ChatScope> scopes;
    std::unique_ptr<ChatViewModel> chat;

    Fixture() {
        ChatViewModel::Dependencies deps;
        deps.answer = [this](std::string question, Intelligence::ChatScope scope, std::string) {
            questions.push_back(question);
            scopes.push_back(scope);
            tokens = TextStream::Sink();
            auto sink = tokens;
            return Support::startTask([sink]() -> Task<RAGPipeline::Answer> {
                auto stream = TextStream::make([sink](TextStream::Sink out) -> Task<void> {
                    while (auto t = co_await sink.next()) {
                        out.yield(*t);
                    }
                });
                AnswerSources sources;
                sources.all.push_back({1, 5, "Budget review", 11, 65, "Bob", "The hiring budget stays."});
                RAGPipeline::Answer answer{stream, sources};
                co_return answer;
            });
        };
        deps.now = [] { return Support::dateFromUnix(1'800'000'000); };
        chat = std::make_unique<ChatViewModel>(deps);
    }
    void send(const std::string& text) {
        chat->inputText.set(text);
        chat->sendMessage();
        loop.runUntilIdle();
    }
};

} // namespace

TEST(ChatViewModel, SendingOnlyBlanksDoesNothing) {
    Fixture f;
    f.send("  \n\t ");
    EXPECT_TRUE(f.chat->messages.get().empty());
    EXPECT_FALSE(f.chat->isGenerating.get());
    EXPECT_TRUE(f.questions.empty());
}

TEST(ChatViewModel, StreamsAnAnswerThenAppendsItCleanedWithItsSources) {
    Fixture f;
    f.send("  What about hiring?  ");
    EXPECT_EQ(f.questions, (std::vector<std::string>{"What about hiring?"}));
    EXPECT_EQ(f.chat->inputText.get(), "");
    ASSERT_EQ(f.chat->messages.get().size(), 1u);
    EXPECT_EQ(f.chat->messages.get()[0].role, "user");
    EXPECT_TRUE(f.chat->isGenerating.get());

    f.tokens.yield("<think>look it up</think>");
    f.tokens.yield("It stays [1].");
    f.loop.runUntilIdle();
    EXPECT_EQ(f.chat->streamingResponse.get(), "<think>look it up</think>It stays [1].");
    f.tokens.finish();
    f.loop.runUntilIdle();
    ASSERT_EQ(f.chat->messages.get().size(), 2u);
    EXPECT_EQ(f.chat->messages.get()[1].role, "assistant");
    EXPECT_EQ(f.chat->messages.get()[1].content, "It stays [1].");
    EXPECT_FALSE(f.chat->isGenerating.get());
    EXPECT_EQ(f.chat->streamingResponse.get(), "");
    ASSERT_EQ(f.chat->citations.get().size(), 1u);
    EXPECT_EQ(f.chat->citations.get()[0].recordingTitle, "Budget review");
}

TEST(ChatViewModel, StoppingKeepsThePartialAnswerMarkedStoppedAndIgnoresLateOutput) {
    Fixture f;
    f.send("First?");
    f.chat->stopGeneration();
    EXPECT_EQ(f.chat->messages.get().size(), 1u) << "nothing was written yet";
    EXPECT_FALSE(f.chat->isGenerating.get());

    f.send("Second?");
    f.tokens.yield("Partial ");
    f.tokens.yield("answer");
    f.loop.runUntilIdle();
    const auto before = f.chat->generationID();
    f.chat->stopGeneration();
    EXPECT_EQ(f.chat->generationID(), before + 1);
    ASSERT_EQ(f.chat->messages.get().size(), 3u);
    EXPECT_EQ(f.chat->messages.get()[2].content, "Partial answer [stopped]");

    f.tokens.yield("late");
    f.tokens.fail(std::make_exception_ptr(Support::UserFacingError("boom")));
    f.loop.runUntilIdle();
    EXPECT_EQ(f.chat->error.get(), std::nullopt);
    EXPECT_EQ(f.chat->streamingResponse.get(), "");
    EXPECT_EQ(f.chat->messages.get().size(), 3u);
}

TEST(ChatViewModel, ShowsTheFailureTextOfTheCurrentAnswer) {
    Fixture f;
    f.send("Anything?");
    f.tokens.fail(std::make_exception_ptr(
        Intelligence::RetrievalError(Intelligence::RetrievalError::Kind::noMatches, "none")));
    f.loop.runUntilIdle();
    EXPECT_EQ(f.chat->error.get(), "Nothing in your recordings matched that. Try asking another way.");
    EXPECT_FALSE(f.chat->isGenerating.get());

    f.chat->clearHistory();
    EXPECT_TRUE(f.chat->messages.get().empty());
    const auto session = f.chat->sessionId.get();
    f.chat->startNewSession();
    EXPECT_NE(f.chat->sessionId.get(), session);
}

TEST(ChatViewModel, FollowsTheRecordingOnScreenOnlyWhenAskedFromItsPane) {
    Fixture f;
    Database::DatabaseManager::Recording a, b;
    a.id = 1;
    b.id = 2;
    f.chat->chooseScopeForAskingFromPane(a);
    EXPECT_TRUE(f.chat->followsOnScreenRecording());
    f.chat->paneChanged(b);
    EXPECT_EQ(f.chat->recording.get()->id, 2);
    f.send("Here?");
    EXPECT_EQ(f.scopes.back().recordingId, 2);

    f.chat->chooseScope(std::nullopt);
    f.chat->recordingFilter.set(std::set<Database::RecordingId>{1});
    f.chat->paneChanged(a);
    EXPECT_FALSE(f.chat->hasRecordingScope());
    f.chat->stopGeneration();
    f.send("Everywhere?");
    EXPECT_EQ(f.scopes.back().recordingId, std::nullopt);
    EXPECT_EQ(f.scopes.back().recordings, (std::set<Database::RecordingId>{1}));
}

TEST(ChatErrorMessage, MapsEachKindOfFailureToItsText) {
    using Reason = Intelligence::AIService::GenerationUnavailableReason;
    auto text = [](auto error) { return ChatErrorMessage::text(std::make_exception_ptr(error)); };
    EXPECT_EQ(text(Intelligence::RetrievalError(Intelligence::RetrievalError::Kind::notReady, "x")),
              "The AI isn't ready yet. Try again in a moment.");
    EXPECT_EQ(text(Intelligence::RetrievalError(Intelligence::RetrievalError::Kind::noMatches, "x")),
              "Nothing in your recordings matched that. Try asking another way.");
    EXPECT_EQ(text(Intelligence::AnswerWritingError("lost")),
              "Couldn't write an answer just now. Try again in a moment.");
    EXPECT_EQ(text(Database::DatabaseError(Database::DatabaseError::Kind::io, "disk")),
              "Couldn't look through your recordings just now. Try again in a moment.");
    EXPECT_EQ(text(ModelNotReadyError(Reason::modelNotDownloaded("m"))),
              "The AI model couldn't be loaded. Try again in a moment.");
    EXPECT_EQ(text(Intelligence::AIService::GenerationUnavailable(Reason::engineError("Server error (500)"))),
              "AI error: Server error (500)");
    EXPECT_EQ(text(ModelNotReadyError(Reason::noModelConfigured())),
              "AI model not configured. Go to Settings to set up an AI model.");
    EXPECT_EQ(text(std::runtime_error("odd")), "odd");
}

TEST(ChatModelActionPolicy, OffersTheFallbackOnlyWhenNothingElseCanServeChat) {
    const Intelligence::ModelRegistry::Model model{"fallback", "Gemma 3", 2.5};
    EXPECT_EQ(ChatModelActionPolicy::inlineFallbackDownload({true, false}, model), std::nullopt);
    EXPECT_EQ(ChatModelActionPolicy::inlineFallbackDownload({false, true}, model), std::nullopt);
    const auto offer = ChatModelActionPolicy::inlineFallbackDownload({false, false}, model);
    ASSERT_TRUE(offer);
    EXPECT_EQ(offer->text,
              "Vellmora uses Apple On-Device AI automatically when available. Download Fallback (Gemma 3, "
              "about 2.5 GB) only when needed to keep chat entirely on this Mac.");
    EXPECT_EQ(offer->buttonTitle, "Download Fallback");
}

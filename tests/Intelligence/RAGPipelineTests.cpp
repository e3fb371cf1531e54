#include "Fakes/FakeAIProvider.h"

#include "Database/Sqlite/SqliteDatabase.h"
#include "Intelligence/RAGPipeline.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

using namespace Intelligence;
using namespace std::chrono_literals;
using Database::DatabaseManager;

namespace {

struct Library {
    Database::SqliteDatabase database{":memory:"};
    Database::RecordingId budget = 0;
    Database::RecordingId offsite = 0;

    Library() {
        DatabaseManager::Recording r;
        r.title = "Budget review";
        budget = database.insertRecording(r);
        r.title = "Team offsite";
        offsite = database.insertRecording(r);
        database.saveTranscript(budget,
                                {{0, 0, 0, 2, "We cut the travel budget by ten percent.", "Alice", false},
                                 {0, 0, 65, 70, "The hiring budget stays as it is.", "Bob", false},
                                 {0, 0, 90, 95, "Lunch was good.", "Bob", false}});
        database.saveTranscript(offsite,
                                {{0, 0, 3, 5, "The offsite travel is booked for May.", "Carol", false}});
    }
};

} // namespace

TEST(RAGPipeline, SearchesTheQuestionsKeywordsNotItsQuestionWords) {
    EXPECT_EQ(RAGPipeline::keywords("What did we decide about the travel budget?"),
              (std::vector<std::string>{"decide", "travel", "budget"}));
    EXPECT_TRUE(RAGPipeline::keywords("what is it?").empty());
}

TEST(RAGPipeline, RanksPassagesByKeywordsMatchedWithinTheScope) {
    Library lib;
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler(loop, Support::dateFromUnix(0));
    Platform::CurlHttpClient http;
    AIService ai(http, scheduler, {}, {});
    RAGPipeline pipeline(ai, lib.database);

    auto all = pipeline.retrieve("travel budget", {});
    ASSERT_EQ(all.all.size(), 3u);
    EXPECT_EQ(all.all[0].text, "We cut the travel budget by ten percent.");
    EXPECT_EQ(all.all[0].number, 1);
    EXPECT_EQ(all.all[0].recordingTitle, "Budget review");

    ChatScope one;
    one.recordingId = lib.offsite;
    auto scoped = pipeline.retrieve("travel budget", one);
    ASSERT_EQ(scoped.all.size(), 1u);
    EXPECT_EQ(scoped.all[0].speaker, "Carol");

    ChatScope filtered;
    filtered.recordings = std::set<Database::RecordingId>{lib.budget};
    EXPECT_EQ(pipeline.retrieve("offsite", filtered).all.size(), 0u);

    const auto [instruction, context] = RAGPipeline::prompt("When is the offsite?", scoped);
    EXPECT_NE(instruction.find("When is the offsite?"), std::string::npos);
    EXPECT_NE(context.find("[1] \"Team offsite\" at 0:03, Carol: The offsite travel is booked for May."),
              std::string::npos);
}

TEST(RAGPipeline, StreamsAnAnswerWithItsSourcesAndRemembersTheTurn) {
    Library lib;
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler(loop, Support::dateFromUnix(0));
    Platform::CurlHttpClient http;
    Fakes::FakeAIProvider provider;
    provider.enqueue({{"It is in ", "May [1]."}});
    provider.enqueue({{"Yes."}});
    AIProviderSettings settings;
    settings.provider = AIProvider::openAICompatible;
    settings.openAIBaseURL = provider.baseURL();
    AIService ai(http, scheduler, settings, {});
    RAGPipeline pipeline(ai, lib.database);

    auto ask = [&](std::string question) {
        auto task = Support::startTask(
            [&pipeline, question]() -> Support::Task<std::pair<std::string, AnswerSources>> {
                // Named first: g++ 12 mishandles temporaries inside co_await.
                auto asking = pipeline.answer(question, Intelligence::ChatScope(), "session");
                auto answer = co_await asking;
                auto pending1 = TextStream::collect(answer.tokens);
                auto text = co_await pending1;
                co_return std::make_pair(text, answer.sources);
            });
        const auto giveUp = std::chrono::steady_clock::now() + 20s;
        while (!task.isDone() && std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(20);
        }
        return task.get();
    };
    auto [text, sources] = ask("When is the offsite?");
    EXPECT_EQ(text, "It is in May [1].");
    ASSERT_EQ(sources.all.size(), 1u);
    EXPECT_EQ(sources.all[0].recordingId, lib.offsite);

    ask("Is the offsite travel booked?");
    auto second = provider.generationRequests().at(1).json()["messages"];
    ASSERT_EQ(second.size(), 4u) << "system, the earlier question and answer, the new question";
    EXPECT_EQ(second[1]["content"], "When is the offsite?");
    EXPECT_EQ(second[2]["content"], "It is in May [1].");

    auto none = Support::startTask([&pipeline]() -> Support::Task<void> {
        auto asking = pipeline.answer("quantum entanglement", Intelligence::ChatScope(), "session");
        auto answer = co_await asking;
        (void)answer;
    });
    while (!none.isDone()) {
        loop.runOne(20);
    }
    try {
        none.get();
        FAIL() << "expected no matches";
    } catch (const RetrievalError& e) {
        EXPECT_EQ(e.kind(), RetrievalError::Kind::noMatches);
    }
}

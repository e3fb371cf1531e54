// The engine against a loopback provider: what it sends, how it reads the stream, and what a provider's
// refusal means for readiness.
#include "Fakes/FakeAIProvider.h"

#include "Intelligence/AIService.h"
#include "Intelligence/LongMeeting.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "Support/Scheduler.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace Intelligence;
using Reason = AIService::GenerationUnavailableReason;
using namespace std::chrono_literals;

namespace {

template <typename T> void runUntilDone(Support::MainLoop& loop, const Support::Task<T>& task) {
    const auto giveUp = std::chrono::steady_clock::now() + 20s;
    while (!task.isDone() && std::chrono::steady_clock::now() < giveUp) {
        loop.runOne(20);
    }
    ASSERT_TRUE(task.isDone()) << "the task never finished";
}

struct Engine {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Platform::CurlHttpClient http;
    Fakes::FakeAIProvider provider;
    std::unique_ptr<AIService> ai;

    explicit Engine(AIProvider kind = AIProvider::openAICompatible, AIKeys keys = {"sk-test", "  g-key \n"}) {
        AIProviderSettings settings;
        settings.provider = kind;
        settings.openAIBaseURL = provider.baseURL();
        settings.openAIModel = "local-model";
        settings.geminiBaseURL = provider.baseURL();
        settings.geminiModel = "gemini-test";
        ai = std::make_unique<AIService>(http, scheduler, settings, keys);
    }

    /// Turns the loop until the service saw the server still loading its model (false when it did not).
    bool waitUntilLoading() {
        const auto giveUp = std::chrono::steady_clock::now() + 20s;
        while (ai->liveReadiness().kind != AIService::Generation::Kind::loading &&
               std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(10);
        }
        return ai->liveReadiness().kind == AIService::Generation::Kind::loading;
    }

    /// The fragments, and the failure's reason if the stream failed.
    std::pair<std::vector<std::string>, std::optional<Reason>> run(AIService::Request request) {
        auto stream = ai->generate(std::move(request));
        auto fragments = std::make_shared<std::vector<std::string>>();
        auto reason = std::make_shared<std::optional<Reason>>();
        auto task = Support::startTask([stream, fragments, reason]() -> Support::Task<void> {
            try {
                while (auto f = co_await stream.next()) {
                    fragments->push_back(*f);
                }
            } catch (const AIService::GenerationUnavailable& e) {
                *reason = e.reason();
            }
        });
        runUntilDone(loop, task);
        return {*fragments, *reason};
    }
};

AIService::Request request(std::string instruction = "Summarize", std::string context = "Alice: hello") {
    AIService::Request r;
    r.instruction = std::move(instruction);
    r.context = std::move(context);
    r.systemPrompt = "Be brief.";
    r.parameters = LLMEngine::GenerationParameters::title();
    return r;
}

} // namespace

TEST(AIService, StreamsAnOpenAICompatibleChatCompletion) {
    Engine e;
    e.provider.enqueue({{"Quarterly ", "budget ", "review"}});
    auto [fragments, failure] = e.run(request());
    EXPECT_FALSE(failure);
    EXPECT_EQ(fragments, (std::vector<std::string>{"Quarterly ", "budget ", "review"}));

    auto sent = e.provider.generationRequests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].path, "/v1/chat/completions");
    EXPECT_EQ(sent[0].header("Authorization"), "Bearer sk-test");
    auto body = sent[0].json();
    EXPECT_EQ(body["model"], "local-model");
    EXPECT_EQ(body["stream"], true);
    EXPECT_EQ(body["max_tokens"], 64);
    ASSERT_EQ(body["messages"].size(), 2u);
    EXPECT_EQ(body["messages"][0]["role"], "system");
    EXPECT_EQ(body["messages"][0]["content"], "Be brief.");
    EXPECT_EQ(body["messages"][1]["content"], "Summarize\n\nAlice: hello");
    EXPECT_EQ(e.ai->status().get(), AIService::Status::ready("local-model"));
}

TEST(AIService, SendsTheTrimmedGeminiKeyOnlyInItsHeader) {
    Engine e(AIProvider::gemini);
    e.provider.enqueue({{"Hello ", "there"}});
    auto [fragments, failure] = e.run(request());
    EXPECT_FALSE(failure);
    EXPECT_EQ(fragments, (std::vector<std::string>{"Hello ", "there"}));

    auto sent = e.provider.generationRequests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].path, "/v1beta/models/gemini-test:streamGenerateContent");
    EXPECT_EQ(sent[0].query, "alt=sse");
    EXPECT_EQ(sent[0].header("x-goog-api-key"), "g-key");
    EXPECT_EQ(sent[0].header("Authorization"), "");
    EXPECT_EQ(sent[0].body.find("g-key"), std::string::npos);
    EXPECT_EQ(sent[0].query.find("key="), std::string::npos);
    auto body = sent[0].json();
    EXPECT_EQ(body["systemInstruction"]["parts"][0]["text"], "Be brief.");
    EXPECT_EQ(body["contents"][0]["parts"][0]["text"], "Summarize\n\nAlice: hello");
}

TEST(AIService, FailsAStreamThatBreaksHalfWayAfterDeliveringWhatArrived) {
    Engine e;
    Fakes::FakeAIProvider::Script broken;
    broken.fragments = {"One ", "two ", "three"};
    broken.breakAfter = 2;
    e.provider.enqueue(broken);
    auto [fragments, failure] = e.run(request());
    EXPECT_EQ(fragments, (std::vector<std::string>{"One ", "two "}));
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Reason::Kind::engineError);
    EXPECT_EQ(e.ai->status().get().kind, AIService::Status::Kind::error);

    e.provider.enqueue({{"fine"}});
    auto [again, noFailure] = e.run(request());
    EXPECT_FALSE(noFailure);
    EXPECT_EQ(e.ai->status().get().kind, AIService::Status::Kind::ready);
}

TEST(AIService, MapsProviderRefusalsToUnavailableReasons) {
    struct Case {
        AIProvider provider;
        int status;
        std::string body;
        Reason expected;
    };
    const std::vector<Case> cases = {
        {AIProvider::openAICompatible, 401, "", Reason::engineError("Invalid API key (401 Unauthorized)")},
        {AIProvider::openAICompatible, 403, "", Reason::engineError("Access denied (403 Forbidden)")},
        {AIProvider::openAICompatible, 404, R"({"error":{"message":"model 'x' not found"}})",
         Reason::modelNotDownloaded("local-model")},
        {AIProvider::openAICompatible, 429, "", Reason::engineError("Rate limited (429). Try again later.")},
        {AIProvider::openAICompatible, 502, "", Reason::engineError("Server error (502)")},
        {AIProvider::openAICompatible, 418, R"({"error":{"message":"short and stout"}})",
         Reason::engineError("HTTP 418: short and stout")},
        {AIProvider::openAICompatible, 400, "not json", Reason::engineError("HTTP 400")},
        {AIProvider::gemini, 400,
         R"({"error":{"message":"API key not valid. Please pass a valid API key."}})",
         Reason::engineError("Invalid API key (400 Bad Request)")},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(reasonForProviderAnswer(c.provider, c.status, c.body, "local-model"), c.expected)
            << c.status;
    }
    Engine e;
    e.provider.enqueue({{}, 401, "{}"});
    auto [fragments, failure] = e.run(request());
    EXPECT_TRUE(fragments.empty());
    EXPECT_EQ(failure, Reason::engineError("Invalid API key (401 Unauthorized)"));
    EXPECT_EQ(e.ai->status().get(), AIService::Status::error("Invalid API key (401 Unauthorized)"));
}

TEST(AIService, IsUnavailableWithoutAProviderItsKeyOrWhenTurnedOff) {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler(loop, Support::dateFromUnix(0));
    Platform::CurlHttpClient http;
    AIProviderSettings settings;
    AIService ai(http, scheduler, settings, {});
    EXPECT_EQ(ai.unavailableReason(), Reason::noModelConfigured());
    EXPECT_EQ(ai.status().get(), AIService::Status::notConfigured());

    settings.provider = AIProvider::gemini;
    ai.configure(settings, {"", "  "});
    EXPECT_EQ(ai.unavailableReason(), Reason::noModelConfigured());

    settings.provider = AIProvider::openAICompatible;
    ai.configure(settings, {});
    EXPECT_EQ(ai.unavailableReason(), Reason::noModelConfigured()) << "OpenAI's own API needs a key";

    settings.openAIBaseURL = "http://127.0.0.1:8080";
    ai.configure(settings, {});
    EXPECT_EQ(ai.unavailableReason(), std::nullopt) << "a local server takes any key";
    EXPECT_EQ(ai.status().get().kind, AIService::Status::Kind::ready);

    ai.configure(settings, {}, false);
    EXPECT_EQ(ai.unavailableReason(), Reason::aiDisabled());

    auto wait = ai.waitUntilReady({});
    while (!wait.isDone()) {
        loop.runOne(10);
    }
    try {
        wait.get();
        FAIL() << "waiting should fail";
    } catch (const AIService::GenerationUnavailable& e) {
        EXPECT_EQ(e.reason(), Reason::aiDisabled());
    }
}

TEST(AIService, WaitsForALocalServerThatIsStillLoadingItsModelThenAsksAgain) {
    Engine e;
    e.provider.enqueue({{}, 503, R"({"error":{"message":"Loading model"}})"});
    e.provider.enqueue({{"Ready ", "now"}});
    auto stream = e.ai->generate(request());
    auto all = TextStream::collect(stream);
    ASSERT_TRUE(e.waitUntilLoading());
    EXPECT_EQ(e.ai->status().get(), AIService::Status::loading("local-model"));

    bool waiting = false;
    auto wait = e.ai->waitUntilReady([&] { waiting = true; });
    e.loop.runUntilIdle();
    EXPECT_TRUE(waiting);
    EXPECT_FALSE(wait.isDone());

    e.scheduler.advance(Support::seconds(2));
    runUntilDone(e.loop, all);
    runUntilDone(e.loop, wait);
    EXPECT_EQ(all.get(), "Ready now");
    EXPECT_NO_THROW(wait.get());
    EXPECT_EQ(e.ai->liveReadiness().kind, AIService::Generation::Kind::ready);
    EXPECT_EQ(e.provider.generationRequests().size(), 2u) << "asked again once the server was ready";
    EXPECT_EQ(e.provider.requests()[1].path, "/v1/models");
}

TEST(AIService, WorkWaitingForALoadingServerEndsAsAppQuittingWhenTheServiceGoesAway) {
    Engine e;
    e.provider.enqueue({{}, 503, R"({"error":{"message":"Loading model"}})"});
    auto stream = e.ai->generate(request());
    auto all = TextStream::collect(stream);
    ASSERT_TRUE(e.waitUntilLoading());
    auto wait = e.ai->waitUntilReady({});
    e.loop.runUntilIdle();
    ASSERT_FALSE(wait.isDone());

    e.ai.reset(); // both wait for the server's next answer
    runUntilDone(e.loop, wait);
    runUntilDone(e.loop, all);
    auto reasonOf = [](auto& task) -> std::optional<Reason> {
        try {
            (void)task.get();
        } catch (const AIService::GenerationUnavailable& error) {
            return error.reason();
        } catch (...) {
        }
        return std::nullopt;
    };
    EXPECT_EQ(reasonOf(wait), Reason::appQuitting());
    EXPECT_EQ(reasonOf(all), Reason::appQuitting());
    EXPECT_EQ(e.provider.generationRequests().size(), 1u);
}

// Provider tests against loopback servers (every status and body the tests distinguish, and a server that
// does not speak HTTP), and the status texts.
#include "Fakes/LoopbackServer.h"

#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"
#include "UI/ai/AIServiceObservable.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using UI::AIServiceObservable;
using Status = Intelligence::AIService::Status;
using namespace std::chrono_literals;

namespace {

struct Server {
    int status = 200;
    std::string body;
    std::vector<httplib::Request> seen;
    std::mutex mutex;
    Fakes::LoopbackServer loopback; // last: it stops before the state its handler uses goes

    Server() {
        loopback.server.Get(R"(.*)", [this](const httplib::Request& req, httplib::Response& res) {
            std::lock_guard lock(mutex);
            seen.push_back(req);
            res.status = status;
            res.set_content(body, "application/json");
        });
        loopback.start();
    }
    std::string base() const { return loopback.base(); }
};

/// Accepts one connection and answers with bytes that are not HTTP.
struct NotHttpServer {
    int fd = -1;
    int port = 0;
    std::thread thread;
    NotHttpServer() {
        fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        socklen_t len = sizeof addr;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
        port = ntohs(addr.sin_port);
        ::listen(fd, 1);
        thread = std::thread([this] {
            int client = ::accept(fd, nullptr, nullptr);
            if (client >= 0) {
                char buffer[1024];
                (void)::read(client, buffer, sizeof buffer);
                const char reply[] = "SSH-2.0-OpenSSH_9.2\r\nnot http at all\r\n";
                (void)::write(client, reply, sizeof reply - 1);
                ::close(client);
            }
        });
    }
    ~NotHttpServer() {
        ::shutdown(fd, SHUT_RDWR);
        ::close(fd);
        thread.join();
    }
};

AIServiceObservable::TestResult run(Support::MainLoop& loop,
                                    Support::Task<AIServiceObservable::TestResult> task) {
    const auto giveUp = std::chrono::steady_clock::now() + 20s;
    while (!task.isDone() && std::chrono::steady_clock::now() < giveUp) {
        loop.runOne(20);
    }
    return task.get();
}

} // namespace

TEST(AIServiceObservable, ReportsEveryAnswerOfAnOpenAICompatibleServer) {
    Support::MainLoop loop;
    Platform::CurlHttpClient http;
    Server server;
    AIServiceObservable observable(http, nullptr);
    struct Case {
        int status;
        std::string body;
        AIServiceObservable::TestResult expected;
    };
    const std::vector<Case> cases = {
        {200,
         R"({"data":[{"id":"llama-3"},{"id":"qwen"}]})",
         {"Connection successful (2 models available)", false, {"llama-3", "qwen"}}},
        {401, "", {"Invalid API key (401 Unauthorized)", true, {}}},
        {403, "", {"Access denied (403 Forbidden)", true, {}}},
        {404, "", {"Endpoint not found (404). Check the base URL.", true, {}}},
        {429, "", {"Rate limited (429). Try again later.", true, {}}},
        {500, "", {"Server error (500)", true, {}}},
        {599, R"({"error":{"message":"ignored"}})", {"Server error (599)", true, {}}},
        {418, R"({"error":{"message":"I'm a teapot"}})", {"HTTP 418: I'm a teapot", true, {}}},
        {400, "<html>not json</html>", {"HTTP 400", true, {}}},
        {409, R"({"error":"plain"})", {"HTTP 409", true, {}}},
    };
    for (const auto& c : cases) {
        server.status = c.status;
        server.body = c.body;
        EXPECT_EQ(run(loop, observable.performConnectionTest("sk-entered", server.base() + "/")), c.expected)
            << c.status;
    }
    std::lock_guard lock(server.mutex);
    ASSERT_FALSE(server.seen.empty());
    const auto& request = server.seen.back();
    EXPECT_EQ(request.path, "/v1/models");
    EXPECT_EQ(request.get_header_value("Authorization"), "Bearer sk-entered");
    EXPECT_EQ(request.get_header_value("Content-Type"), "application/json");
}

TEST(AIServiceObservable, RefusesMissingKeysBadAddressesAndServersThatDoNotSpeakHttp) {
    Support::MainLoop loop;
    Platform::CurlHttpClient http;
    AIServiceObservable observable(http, nullptr);
    EXPECT_EQ(run(loop, observable.performConnectionTest("", "http://127.0.0.1:9")),
              (AIServiceObservable::TestResult{"API key is required", true, {}}));
    EXPECT_EQ(run(loop, observable.performConnectionTest("k", "not a url")),
              (AIServiceObservable::TestResult{"Invalid base URL", true, {}}));
    NotHttpServer notHttp;
    EXPECT_EQ(
        run(loop, observable.performConnectionTest("k", "http://127.0.0.1:" + std::to_string(notHttp.port))),
        (AIServiceObservable::TestResult{"Invalid response type", true, {}}));

    const auto request = AIServiceObservable::connectionTestRequest("k", "");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->url, "https://api.openai.com/v1/models");
    EXPECT_EQ(request->timeout, Support::seconds(15));
}

TEST(AIServiceObservable, TestsAGeminiKeyWithTheTrimmedKeyInItsHeaderOnly) {
    Support::MainLoop loop;
    Platform::CurlHttpClient http;
    Server server;
    AIServiceObservable observable(http, nullptr, server.base());
    struct Case {
        int status;
        std::string body;
        AIServiceObservable::TestResult expected;
    };
    const std::vector<Case> cases = {
        {200,
         R"({"models":[{"name":"models/gemini-2.5-flash"}]})",
         {"Connection successful (1 model available)", false, {"gemini-2.5-flash"}}},
        {400, "", {"Invalid API key (400 Bad Request)", true, {}}},
        {403, "", {"Access denied (403 Forbidden)", true, {}}},
        {429, "", {"Rate limited (429). Try again later.", true, {}}},
        {404, R"({"error":{"message":"Method not found."}})", {"Method not found.", true, {}}},
        {404, "", {"HTTP 404", true, {}}},
        {503, "garbage", {"HTTP 503", true, {}}},
    };
    for (const auto& c : cases) {
        server.status = c.status;
        server.body = c.body;
        EXPECT_EQ(run(loop, observable.performGeminiConnectionTest("  AIza-entered \n")), c.expected)
            << c.status;
    }
    EXPECT_EQ(run(loop, observable.performGeminiConnectionTest("   ")),
              (AIServiceObservable::TestResult{"API key is required", true, {}}));
    std::lock_guard lock(server.mutex);
    const auto& request = server.seen.back();
    EXPECT_EQ(request.path, "/v1beta/models");
    EXPECT_EQ(request.get_header_value("x-goog-api-key"), "AIza-entered");
    EXPECT_TRUE(request.params.empty());
    EXPECT_FALSE(request.has_header("Authorization"));
    EXPECT_EQ(observable.geminiModelsRequest(" k ").timeout, Support::seconds(15));
}

TEST(AIServiceObservable, PublishesATestsResultAndTheListedModels) {
    Support::MainLoop loop;
    Platform::CurlHttpClient http;
    Server server;
    server.body = R"({"data":[{"id":"m1"}]})";
    AIServiceObservable observable(http, nullptr);
    observable.testConnectionWith("k", server.base());
    EXPECT_TRUE(observable.isTesting.get());
    const auto giveUp = std::chrono::steady_clock::now() + 20s;
    while (observable.isTesting.get() && std::chrono::steady_clock::now() < giveUp) {
        loop.runOne(20);
    }
    ASSERT_TRUE(observable.testResult.get());
    EXPECT_FALSE(observable.testResult.get()->isFailure);
    EXPECT_EQ(observable.availableModels.get(), (std::vector<std::string>{"m1"}));
}

TEST(AIServiceObservable, WordsTheStatusLineAndTheHelpText) {
    using K = Status::Kind;
    using R = Intelligence::AIService::SystemModelUnavailability;
    Status loading = Status::loading("Qwen", 0.456);
    Status downloading = loading;
    downloading.isDownloading = true;
    Status sleeping = Status::ready("Qwen");
    sleeping.isSleeping = true;
    Status system{K::systemModelUnavailable};
    system.systemReason = R::turnedOff;
    Status withFallback = system;
    withFallback.fallback = Intelligence::AIService::FallbackOffer{"Gemma", 2.5};

    struct Case {
        Status status;
        std::string line;
        std::optional<std::string> help;
    };
    const std::vector<Case> cases = {
        {Status::ready("llama-3"), "Ready: llama-3", std::nullopt},
        {Status::error("Invalid API key (401 Unauthorized)"), "Error: Invalid API key (401 Unauthorized)",
         "AI error: Invalid API key (401 Unauthorized). Try restarting the app or check Settings."},
        {Status::notConfigured(), "Not configured",
         "AI model not configured. Go to Settings to set up an AI model."},
        {loading, "Loading Qwen... 45%", "Loading Qwen... Please wait a moment."},
        {downloading, "Downloading Qwen... 45%",
         "Waiting for Qwen to finish downloading... 45%. Please wait."},
        {sleeping, "Ready: Qwen",
         "Qwen is sleeping to save memory. It will reload when you use AI features."},
        {system, "Apple Intelligence is turned off.", "No models downloaded"},
        {withFallback, "Apple Intelligence is turned off. Download Gemma (about 2.5 GB) to continue.",
         "Apple Intelligence is turned off. Download Gemma fallback (about 2.5 GB) so AI features keep "
         "working "
         "entirely on this Mac. Go to Settings to download."},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AIServiceObservable::statusText(c.status), c.line);
        EXPECT_EQ(AIServiceObservable::aiStatusHelpText(c.status), c.help);
    }
    for (auto [reason, text] : std::vector<std::pair<R, std::string>>{
             {R::notEligible, "This Mac is not eligible for Apple Intelligence."},
             {R::osTooOld, "Apple On-Device AI requires macOS 26 or later."},
             {R::unavailable, "Apple's on-device model is currently unavailable."},
             {R::notReady, "Apple's on-device model is still downloading or not ready."}}) {
        system.systemReason = reason;
        EXPECT_EQ(AIServiceObservable::statusText(system), text);
    }
}

// The AI settings' model: mirrors the AI service's status for display, turns it into the status line and
// the help text of AI features, and tests provider settings with the values the user entered, before they
// are applied: an OpenAI-compatible server (GET <base>/v1/models with a bearer key) or a Gemini key (GET
// /v1beta/models with the trimmed key in the "x-goog-api-key" header, never in the URL).
//
// Main loop only. A test never changes the applied settings; a network failure is reported as a failed test
// with the transfer's own description. On success the models the server lists are published.
#pragma once

#include "Intelligence/AIProviderSettings.h"
#include "Intelligence/AIService.h"
#include "Platform/HttpClient.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace UI {

class AIServiceObservable {
public:
    using Status = Intelligence::AIService::Status;

    struct TestResult {
        std::string message{};
        bool isFailure = false;
        /// The models the server listed (success only).
        std::vector<std::string> models{};
        bool operator==(const TestResult&) const = default;
    };

    /// `service` may be null (no engine yet: the status reads not configured). `geminiBaseURL` is Google's
    /// endpoint unless a test points it elsewhere.
    AIServiceObservable(Platform::HttpClient& http, Intelligence::AIService* service,
                        std::string geminiBaseURL = Intelligence::defaultGeminiBaseURL);
    ~AIServiceObservable();

    Support::Published<Status> status{};
    Support::Published<std::optional<TestResult>> testResult{};
    Support::Published<bool> isTesting{};
    Support::Published<std::vector<std::string>> availableModels{};

    std::string statusText() const { return statusText(status.get()); }
    std::optional<std::string> aiStatusHelpText() const { return aiStatusHelpText(status.get()); }
    static std::string statusText(const Status& status);
    /// Nothing when AI can run now.
    static std::optional<std::string> aiStatusHelpText(const Status& status);

    /// Starts a test; the result is published in `testResult`.
    void testConnectionWith(const std::string& apiKey, const std::string& baseURL);
    void testGeminiConnectionWith(const std::string& apiKey);
    Support::Task<TestResult> performConnectionTest(std::string apiKey, std::string baseURL);
    Support::Task<TestResult> performGeminiConnectionTest(std::string apiKey);

    /// The request of the OpenAI-compatible test; nothing for a base URL that does not parse. An empty base
    /// URL means the OpenAI API's own.
    static std::optional<Platform::HttpRequest> connectionTestRequest(const std::string& apiKey,
                                                                      const std::string& baseURL);
    Platform::HttpRequest geminiModelsRequest(const std::string& apiKey) const;
    /// The result of the OpenAI-compatible test for a response.
    static TestResult connectionTestResult(const Platform::HttpResponse& response);
    static TestResult geminiTestResult(const Platform::HttpResponse& response);

private:
    void runTest(Support::Task<TestResult> test);

    Platform::HttpClient& http_;
    std::string geminiBaseURL_{};
    Support::Subscription statusSubscription_{};
    Support::Task<void> testTask_{};
    Support::TaskGroup tasks_; // last: its tasks use the members above
};

} // namespace UI

#include "UI/ai/AIServiceObservable.h"

#include "Intelligence/ModelRegistry.h"
#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace UI {

namespace {

using json = nlohmann::json;
using Support::Task;

int percent(double fraction) {
    if (!std::isfinite(fraction)) {
        return 0;
    }
    return static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100);
}

std::string systemReasonText(Intelligence::AIService::SystemModelUnavailability reason) {
    using R = Intelligence::AIService::SystemModelUnavailability;
    switch (reason) {
    case R::notEligible:
        return "This Mac is not eligible for Apple Intelligence.";
    case R::osTooOld:
        return "Apple On-Device AI requires macOS 26 or later.";
    case R::unavailable:
        return "Apple's on-device model is currently unavailable.";
    case R::notReady:
        return "Apple's on-device model is still downloading or not ready.";
    case R::turnedOff:
        return "Apple Intelligence is turned off.";
    }
    return "Apple's on-device model is currently unavailable.";
}

std::optional<std::string> errorMessage(const std::string& body) {
    auto parsed = json::parse(body, nullptr, false);
    if (!parsed.is_object()) {
        return std::nullopt;
    }
    auto error = parsed.find("error");
    if (error == parsed.end() || !error->is_object()) {
        return std::nullopt;
    }
    auto message = error->find("message");
    if (message == error->end() || !message->is_string()) {
        return std::nullopt;
    }
    return message->get<std::string>();
}

/// Model names listed under `field` ("data" with "id" for OpenAI-compatible servers, "models" with "name"
/// for Gemini).
std::vector<std::string> modelNames(const std::string& body, const char* field, const char* nameField) {
    std::vector<std::string> names;
    auto parsed = json::parse(body, nullptr, false);
    if (!parsed.is_object() || !parsed.contains(field) || !parsed[field].is_array()) {
        return names;
    }
    for (const auto& model : parsed[field]) {
        if (model.is_object() && model.contains(nameField) && model[nameField].is_string()) {
            auto name = model[nameField].get<std::string>();
            if (Support::Text::startsWith(name, "models/")) {
                name = name.substr(7);
            }
            names.push_back(std::move(name));
        }
    }
    return names;
}

std::string successMessage(size_t count) {
    if (count == 0) {
        return "Connection successful";
    }
    return "Connection successful (" + std::to_string(count) + (count == 1 ? " model" : " models") +
           " available)";
}

/// The address was valid, so a refused "request" or an unclassified failure means the server answered
/// with something that is not HTTP; real network failures keep their own description.
AIServiceObservable::TestResult transportFailure(const Platform::HttpTransportError& e) {
    using Kind = Platform::HttpTransportError::Kind;
    if (e.kind() == Kind::invalidRequest || e.kind() == Kind::other) {
        return {"Invalid response type", true, {}};
    }
    return {e.description(), true, {}};
}

} // namespace

AIServiceObservable::AIServiceObservable(Platform::HttpClient& http, Intelligence::AIService* service,
                                         std::string geminiBaseURL)
    : http_(http), geminiBaseURL_(std::move(geminiBaseURL)) {
    if (service) {
        statusSubscription_ = service->status().sink([this](const Status& s) { status.set(s); });
    }
}

AIServiceObservable::~AIServiceObservable() = default;

std::string AIServiceObservable::statusText(const Status& s) {
    using K = Status::Kind;
    switch (s.kind) {
    case K::ready:
        return "Ready: " + s.modelName;
    case K::error:
        return "Error: " + s.message;
    case K::notConfigured:
        return "Not configured";
    case K::systemModelUnavailable: {
        auto text = systemReasonText(s.systemReason);
        if (s.fallback) {
            text += " Download " + s.fallback->name + " (about " +
                    Intelligence::ModelRegistry::formattedSize(s.fallback->sizeGB) + ") to continue.";
        }
        return text;
    }
    case K::inProgress:
        return std::string(s.isDownloading ? "Downloading " : "Loading ") + s.modelName + "... " +
               std::to_string(percent(s.progress)) + "%";
    }
    return "Not configured";
}

std::optional<std::string> AIServiceObservable::aiStatusHelpText(const Status& s) {
    using K = Status::Kind;
    switch (s.kind) {
    case K::notConfigured:
        return std::string("AI model not configured. Go to Settings to set up an AI model.");
    case K::ready:
        if (s.isSleeping) {
            return s.modelName + " is sleeping to save memory. It will reload when you use AI features.";
        }
        return std::nullopt;
    case K::inProgress:
        if (s.isDownloading) {
            return "Waiting for " + s.modelName + " to finish downloading... " +
                   std::to_string(percent(s.progress)) + "%. Please wait.";
        }
        return "Loading " + s.modelName + "... Please wait a moment.";
    case K::error:
        return "AI error: " + s.message + ". Try restarting the app or check Settings.";
    case K::systemModelUnavailable:
        if (s.fallback) {
            return systemReasonText(s.systemReason) + " Download " + s.fallback->name + " fallback (about " +
                   Intelligence::ModelRegistry::formattedSize(s.fallback->sizeGB) +
                   ") so AI features keep working entirely on this Mac. Go to Settings to download.";
        }
        return std::string("No models downloaded");
    }
    return std::nullopt;
}

std::optional<Platform::HttpRequest> AIServiceObservable::connectionTestRequest(const std::string& apiKey,
                                                                                const std::string& baseURL) {
    const auto base =
        Support::Text::isBlank(baseURL) ? std::string(Intelligence::defaultOpenAIBaseURL) : baseURL;
    auto url = Intelligence::appendingPath(base, "v1/models");
    if (!url) {
        return std::nullopt;
    }
    Platform::HttpRequest request;
    request.method = "GET";
    request.url = *url;
    request.headers = {{"Authorization", "Bearer " + apiKey}, {"Content-Type", "application/json"}};
    request.timeout = Support::seconds(60);
    request.timeout = Support::seconds(15);
    return request;
}

Platform::HttpRequest AIServiceObservable::geminiModelsRequest(const std::string& apiKey) const {
    Platform::HttpRequest request;
    request.method = "GET";
    request.url = Intelligence::appendingPath(geminiBaseURL_, "v1beta/models")
                      .value_or(std::string(Intelligence::defaultGeminiBaseURL) + "/v1beta/models");
    request.headers = {{"x-goog-api-key", Support::Text::trimmed(apiKey)}};
    request.timeout = Support::seconds(60);
    request.timeout = Support::seconds(15);
    return request;
}

AIServiceObservable::TestResult
AIServiceObservable::connectionTestResult(const Platform::HttpResponse& response) {
    const int code = response.status;
    if (code == 200) {
        auto models = modelNames(response.body, "data", "id");
        return {successMessage(models.size()), false, models};
    }
    switch (code) {
    case 401:
        return {"Invalid API key (401 Unauthorized)", true, {}};
    case 403:
        return {"Access denied (403 Forbidden)", true, {}};
    case 404:
        return {"Endpoint not found (404). Check the base URL.", true, {}};
    case 429:
        return {"Rate limited (429). Try again later.", true, {}};
    default:
        break;
    }
    if (code >= 500 && code <= 599) {
        return {"Server error (" + std::to_string(code) + ")", true, {}};
    }
    std::string message = "HTTP " + std::to_string(code);
    if (auto detail = errorMessage(response.body)) {
        message += ": " + *detail;
    }
    return {message, true, {}};
}

AIServiceObservable::TestResult
AIServiceObservable::geminiTestResult(const Platform::HttpResponse& response) {
    const int code = response.status;
    switch (code) {
    case 200: {
        auto models = modelNames(response.body, "models", "name");
        return {successMessage(models.size()), false, models};
    }
    case 400:
        return {"Invalid API key (400 Bad Request)", true, {}};
    case 403:
        return {"Access denied (403 Forbidden)", true, {}};
    case 429:
        return {"Rate limited (429). Try again later.", true, {}};
    default:
        break;
    }
    if (auto detail = errorMessage(response.body)) {
        return {*detail, true, {}};
    }
    return {"HTTP " + std::to_string(code), true, {}};
}

Task<AIServiceObservable::TestResult> AIServiceObservable::performConnectionTest(std::string apiKey,
                                                                                 std::string baseURL) {
    if (apiKey.empty()) {
        co_return TestResult{"API key is required", true, {}};
    }
    auto request = connectionTestRequest(apiKey, baseURL);
    if (!request) {
        co_return TestResult{"Invalid base URL", true, {}};
    }
    try {
        auto pending1 = Support::awaitOwned(http_.send(*request));
        auto response = co_await pending1;
        co_return connectionTestResult(response);
    } catch (const Platform::HttpTransportError& e) {
        co_return transportFailure(e);
    }
}

Task<AIServiceObservable::TestResult> AIServiceObservable::performGeminiConnectionTest(std::string apiKey) {
    if (Support::Text::isBlank(apiKey)) {
        co_return TestResult{"API key is required", true, {}};
    }
    auto request = geminiModelsRequest(apiKey);
    try {
        auto pending2 = Support::awaitOwned(http_.send(request));
        auto response = co_await pending2;
        co_return geminiTestResult(response);
    } catch (const Platform::HttpTransportError& e) {
        co_return transportFailure(e);
    }
}

void AIServiceObservable::runTest(Task<TestResult> test) {
    testTask_.cancel();
    isTesting.set(true);
    testResult.set(std::nullopt);
    (void)tasks_.add(test); // a member coroutine: it must not start after this object is gone
    testTask_ = tasks_.start([this, test]() -> Task<void> {
        auto awaiter = Support::awaitOwned(test);
        auto result = co_await awaiter;
        if (!result.isFailure) {
            availableModels.set(result.models);
        }
        testResult.set(result);
        isTesting.set(false);
    });
}

void AIServiceObservable::testConnectionWith(const std::string& apiKey, const std::string& baseURL) {
    runTest(performConnectionTest(apiKey, baseURL));
}

void AIServiceObservable::testGeminiConnectionWith(const std::string& apiKey) {
    runTest(performGeminiConnectionTest(apiKey));
}

} // namespace UI

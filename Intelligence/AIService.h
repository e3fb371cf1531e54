// The generation engine: sends prompts to the configured provider (an OpenAI-compatible server or Google's
// Gemini API) and yields the answer as a stream of text fragments read from server-sent events.
//
// The host makes one service from the user's defaults and key file (`fromUserDefaults`) and hands it to the
// background services (the AI jobs) and the windows (chat, the settings' provider test); an `ai` command
// makes its own.
//
// Readiness: with no provider, AI turned off, or a provider without its key, generation is unavailable
// with a reason (`unavailableReason`). Remote providers are otherwise ready at once; a local server that
// answered 503 (model still loading) puts the service in the loading state, and `waitUntilReady` then
// calls its callback and polls the server every two seconds until it answers.
//
// Failures of a generation are `GenerationUnavailable` errors whose reason is mapped from what the provider
// answered (401/403: the key; 404: the model is not there; 429: rate limit; 5xx; lost connections). The
// status then shows the error until a later generation succeeds. API keys never appear in logs or errors.
#pragma once

#include "Intelligence/AIProviderSettings.h"
#include "Intelligence/LLMEngine.h"
#include "Intelligence/TextStream.h"
#include "Platform/HttpClient.h"
#include "Support/Errors.h"
#include "Support/Scheduler.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/TaskGroup.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Intelligence {

class AIService {
public:
    /// Why generation cannot run, in the order the AI wait texts list them.
    struct GenerationUnavailableReason {
        enum class Kind { modelNotDownloaded, downloadFailed, engineError, appQuitting, aiDisabled, noModel };
        Kind kind = Kind::noModel;
        /// The model's display name, the download detail or the engine's message.
        std::string detail{};

        static GenerationUnavailableReason modelNotDownloaded(std::string name) {
            return {Kind::modelNotDownloaded, std::move(name)};
        }
        static GenerationUnavailableReason downloadFailed(std::string d) {
            return {Kind::downloadFailed, std::move(d)};
        }
        static GenerationUnavailableReason engineError(std::string m) {
            return {Kind::engineError, std::move(m)};
        }
        static GenerationUnavailableReason appQuitting() { return {Kind::appQuitting, {}}; }
        static GenerationUnavailableReason aiDisabled() { return {Kind::aiDisabled, {}}; }
        static GenerationUnavailableReason noModelConfigured() { return {Kind::noModel, {}}; }
        bool operator==(const GenerationUnavailableReason&) const = default;
    };

    /// Generation is not possible: thrown by `waitUntilReady` and by failing generation streams.
    class GenerationUnavailable : public Support::UserFacingError {
    public:
        explicit GenerationUnavailable(GenerationUnavailableReason reason);
        const GenerationUnavailableReason& reason() const { return reason_; }

    private:
        GenerationUnavailableReason reason_{};
    };

    /// The on-device system model's reasons for being unavailable (not used by remote providers, kept for
    /// the status texts).
    enum class SystemModelUnavailability { notEligible, osTooOld, turnedOff, notReady, unavailable };
    struct FallbackOffer {
        std::string name{};
        double sizeGB = 0;
        bool operator==(const FallbackOffer&) const = default;
    };

    struct Status {
        enum class Kind { inProgress, ready, error, notConfigured, systemModelUnavailable };
        Kind kind = Kind::notConfigured;
        std::string modelName{};
        /// 0...1 while in progress.
        double progress = 0;
        std::string message{};
        SystemModelUnavailability systemReason = SystemModelUnavailability::unavailable;
        std::optional<FallbackOffer> fallback{};
        /// In progress: true while downloading, false while loading.
        bool isDownloading = false;
        /// A local model unloaded to save memory.
        bool isSleeping = false;

        static Status ready(std::string model) { return {Kind::ready, std::move(model)}; }
        static Status notConfigured() { return {}; }
        static Status error(std::string message) {
            Status s{Kind::error};
            s.message = std::move(message);
            return s;
        }
        static Status loading(std::string model, double progress = 0) {
            return {Kind::inProgress, std::move(model), progress};
        }
        bool operator==(const Status&) const = default;
    };

    /// Generation readiness, as the wait texts read it.
    struct Generation {
        enum class Kind { ready, downloading, loading, registryInstall };
        Kind kind = Kind::ready;
        double fraction = 0;
        std::string modelName{};
        /// Registry installs: the model's identifier, and whether it is downloaded and now loading.
        std::string modelId{};
        bool downloadedAndLoading = false;
        bool operator==(const Generation&) const = default;
    };

    struct Request {
        std::string instruction{};
        std::string context{};
        std::string systemPrompt{};
        LLMEngine::GenerationParameters parameters{};
        std::string sessionId{};
        /// Earlier turns of a conversation, oldest first: ("user" | "assistant", text).
        std::vector<std::pair<std::string, std::string>> history{};
    };

    AIService(Platform::HttpClient& http, Support::Scheduler& scheduler, AIProviderSettings settings,
              AIKeys keys, bool isEnabled = true);
    /// Streams and waits still running end without touching the service; it must outlive their tasks.
    ~AIService();
    AIService(const AIService&) = delete;
    AIService& operator=(const AIService&) = delete;

    /// Reads the provider settings ("ai.enabled", default true, and the provider keys) and the key file.
    /// A damaged key file reads as no keys (the status then says not configured) and is left untouched.
    static std::unique_ptr<AIService> fromUserDefaults(Platform::HttpClient& http,
                                                       Support::Scheduler& scheduler,
                                                       const Support::UserDefaults& defaults,
                                                       const AIKeyStore& keyStore = AIKeyStore());
    static constexpr const char* enabledKey = "ai.enabled";

    void configure(AIProviderSettings settings, AIKeys keys, bool isEnabled = true);
    const AIProviderSettings& settings() const { return settings_; }

    Support::Published<Status>& status() { return status_; }
    Generation liveReadiness() const;
    /// Why generation cannot run now, or nothing when it can (or will after loading).
    std::optional<GenerationUnavailableReason> unavailableReason() const;

    /// Returns when generation is possible; calls `onWaiting` (on the main loop) first when it has to wait.
    /// Throws `GenerationUnavailable` when it is not possible and will not become so.
    Support::Task<void> waitUntilReady(std::function<void()> onWaiting);

    /// Streams the answer to `request`. Fails with `GenerationUnavailable` (see the header comment).
    TextStream generate(Request request);

    /// The HTTP request `generate` sends (exposed for tests and the first-token benchmark).
    Platform::HttpRequest httpRequest(const Request& request) const;

private:
    Support::Task<void> waitUntilReadyNow(std::function<void()> onWaiting);
    Support::Task<void> stream(Platform::HttpRequest request, AIProvider provider, TextStream::Sink sink);
    /// One transfer; true when the server answered 503 (still loading its model) before any text.
    Support::Task<bool> streamOnce(Platform::HttpRequest request, AIProvider provider, TextStream::Sink sink);
    void noteFailure(const GenerationUnavailableReason& reason);
    void noteSuccess();

    Platform::HttpClient& http_;
    Support::Scheduler& scheduler_;
    AIProviderSettings settings_{};
    AIKeys keys_{};
    bool isEnabled_ = true;
    bool isLoading_ = false;
    Support::Published<Status> status_{};
    // Last: its tasks use the members above. A task it cancels because the service is going away ends
    // with `GenerationUnavailable` ("app quitting") where it waits for the server.
    Support::TaskGroup tasks_;
};

/// "https://host/base" + "v1/models" → "https://host/base/v1/models" (one slash between); nothing when
/// `base` is not an http or https URL.
std::optional<std::string> appendingPath(const std::string& base, const std::string& path);

} // namespace Intelligence

namespace Intelligence {
/// What a provider's non-success answer means for generation: 401/403 (and Gemini's 400 about the key) are
/// key problems, 404 is a model the server does not have, 429 a rate limit, 5xx a server error; the body's
/// "error" → "message" is used when there is one.
AIService::GenerationUnavailableReason reasonForProviderAnswer(AIProvider provider, int status,
                                                               const std::string& body,
                                                               const std::string& modelName);
} // namespace Intelligence

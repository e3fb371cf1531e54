#include "Intelligence/AIService.h"

#include "Support/Log.h"
#include "Support/Text.h"
#include "Support/Url.h"

#include "Intelligence/ServerSentEvents.h"

#include <nlohmann/json.hpp>

namespace Intelligence {

namespace {

const Support::Logger log("ai");

using json = nlohmann::json;

std::optional<std::string> errorMessage(const std::string& body) {
    auto parsed = json::parse(body, nullptr, false);
    if (parsed.is_object()) {
        auto it = parsed.find("error");
        if (it != parsed.end()) {
            if (it->is_object()) {
                auto m = it->find("message");
                if (m != it->end() && m->is_string()) {
                    return m->get<std::string>();
                }
            } else if (it->is_string()) {
                return it->get<std::string>();
            }
        }
    }
    return std::nullopt;
}

/// The text of one streamed event, or nothing when it carries none. Throws `GenerationUnavailable` for an
/// error event.
std::optional<std::string> fragmentOf(AIProvider provider, const json& event) {
    if (!event.is_object()) {
        return std::nullopt;
    }
    if (auto err = event.find("error"); err != event.end()) {
        auto message = errorMessage(event.dump()).value_or("The AI server reported an error.");
        throw AIService::GenerationUnavailable(AIService::GenerationUnavailableReason::engineError(message));
    }
    std::string text;
    if (provider == AIProvider::gemini) {
        auto candidates = event.find("candidates");
        if (candidates == event.end() || !candidates->is_array() || candidates->empty()) {
            return std::nullopt;
        }
        const auto& first = (*candidates)[0];
        if (!first.is_object() || !first.contains("content") || !first["content"].is_object()) {
            return std::nullopt;
        }
        const auto& parts = first["content"].value("parts", json::array());
        if (!parts.is_array()) {
            return std::nullopt;
        }
        for (const auto& part : parts) {
            if (part.is_object() && part.contains("text") && part["text"].is_string() &&
                !part.value("thought", false)) {
                text += part["text"].get<std::string>();
            }
        }
    } else {
        auto choices = event.find("choices");
        if (choices == event.end() || !choices->is_array() || choices->empty() ||
            !(*choices)[0].is_object()) {
            return std::nullopt;
        }
        const auto& choice = (*choices)[0];
        for (const char* field : {"delta", "message"}) {
            auto it = choice.find(field);
            if (it != choice.end() && it->is_object()) {
                auto content = it->find("content");
                if (content != it->end() && content->is_string()) {
                    text += content->get<std::string>();
                }
            }
        }
    }
    if (text.empty()) {
        return std::nullopt;
    }
    return text;
}

} // namespace

AIService::GenerationUnavailable::GenerationUnavailable(GenerationUnavailableReason reason)
    : Support::UserFacingError([&] {
          switch (reason.kind) {
          case GenerationUnavailableReason::Kind::modelNotDownloaded:
              return "The AI model (" + reason.detail + ") isn't available.";
          case GenerationUnavailableReason::Kind::downloadFailed:
              return "The AI model couldn't be downloaded. " + reason.detail;
          case GenerationUnavailableReason::Kind::engineError:
              return "AI error: " + reason.detail;
          case GenerationUnavailableReason::Kind::appQuitting:
              return std::string("Vellmora is quitting.");
          case GenerationUnavailableReason::Kind::aiDisabled:
              return std::string("AI is turned off.");
          case GenerationUnavailableReason::Kind::noModel:
              return std::string("AI model not configured.");
          }
          return std::string("AI error");
      }()),
      reason_(std::move(reason)) {}

std::optional<std::string> appendingPath(const std::string& base, const std::string& path) {
    auto url = Support::Url::parse(Support::Text::trimmed(base));
    if (!url || (url->scheme() != "http" && url->scheme() != "https") || url->host().empty()) {
        return std::nullopt;
    }
    auto text = url->withoutQuery().withoutFragment().string();
    while (!text.empty() && text.back() == '/') {
        text.pop_back();
    }
    return text + "/" + path;
}

AIService::GenerationUnavailableReason reasonForProviderAnswer(AIProvider provider, int status,
                                                               const std::string& body,
                                                               const std::string& modelName) {
    using Reason = AIService::GenerationUnavailableReason;
    auto message = errorMessage(body);
    switch (status) {
    case 401:
        return Reason::engineError("Invalid API key (401 Unauthorized)");
    case 403:
        return Reason::engineError("Access denied (403 Forbidden)");
    case 404:
        return Reason::modelNotDownloaded(modelName);
    case 429:
        return Reason::engineError("Rate limited (429). Try again later.");
    default:
        break;
    }
    if (provider == AIProvider::gemini && status == 400 && message &&
        message->find("API key") != std::string::npos) {
        return Reason::engineError("Invalid API key (400 Bad Request)");
    }
    if (status >= 500 && status <= 599) {
        return Reason::engineError("Server error (" + std::to_string(status) + ")");
    }
    return Reason::engineError("HTTP " + std::to_string(status) + (message ? ": " + *message : ""));
}

AIService::AIService(Platform::HttpClient& http, Support::Scheduler& scheduler, AIProviderSettings settings,
                     AIKeys keys, bool isEnabled)
    : http_(http), scheduler_(scheduler) {
    configure(std::move(settings), std::move(keys), isEnabled);
}

std::unique_ptr<AIService> AIService::fromUserDefaults(Platform::HttpClient& http,
                                                       Support::Scheduler& scheduler,
                                                       const Support::UserDefaults& defaults,
                                                       const AIKeyStore& keyStore) {
    AIKeys keys;
    try {
        keys = keyStore.load();
    } catch (const Support::UserFacingError& e) {
        log.error("{}", e.description());
    }
    return std::make_unique<AIService>(http, scheduler, AIProviderSettings::load(defaults), std::move(keys),
                                       defaults.boolean(enabledKey).value_or(true));
}

void AIService::configure(AIProviderSettings settings, AIKeys keys, bool isEnabled) {
    settings_ = std::move(settings);
    keys_ = std::move(keys);
    isEnabled_ = isEnabled;
    isLoading_ = false;
    if (unavailableReason()) {
        status_.set(Status::notConfigured());
    } else {
        status_.set(Status::ready(settings_.modelName()));
    }
}

std::optional<AIService::GenerationUnavailableReason> AIService::unavailableReason() const {
    if (!isEnabled_) {
        return GenerationUnavailableReason::aiDisabled();
    }
    switch (settings_.provider) {
    case AIProvider::none:
        return GenerationUnavailableReason::noModelConfigured();
    case AIProvider::gemini:
        if (Support::Text::isBlank(keys_.gemini) || settings_.geminiModel.empty()) {
            return GenerationUnavailableReason::noModelConfigured();
        }
        break;
    case AIProvider::openAICompatible: {
        // Local servers take any key; OpenAI's own API needs one.
        auto url = Support::Url::parse(Support::Text::trimmed(settings_.openAIBaseURL));
        if (settings_.openAIModel.empty() || !appendingPath(settings_.openAIBaseURL, "") || !url ||
            (Support::Text::isBlank(keys_.openAI) && url->host() == "api.openai.com")) {
            return GenerationUnavailableReason::noModelConfigured();
        }
        break;
    }
    }
    return std::nullopt;
}

AIService::Generation AIService::liveReadiness() const {
    Generation g;
    g.modelName = settings_.modelName();
    g.kind = isLoading_ ? Generation::Kind::loading : Generation::Kind::ready;
    return g;
}

AIService::~AIService() = default;

void AIService::noteFailure(const GenerationUnavailableReason& reason) {
    status_.set(Status::error(reason.kind == GenerationUnavailableReason::Kind::modelNotDownloaded
                                  ? "The server has no model named " + reason.detail
                                  : reason.detail));
}

void AIService::noteSuccess() {
    isLoading_ = false;
    if (status_.get().kind != Status::Kind::ready && !unavailableReason()) {
        status_.set(Status::ready(settings_.modelName()));
    }
}

Support::Task<void> AIService::waitUntilReady(std::function<void()> onWaiting) {
    return tasks_.add(waitUntilReadyNow(std::move(onWaiting)));
}

Support::Task<void> AIService::waitUntilReadyNow(std::function<void()> onWaiting) {
    if (auto reason = unavailableReason()) {
        throw GenerationUnavailable(*reason);
    }
    if (!isLoading_) {
        co_return;
    }
    if (onWaiting) {
        onWaiting();
    }
    const bool gemini = settings_.provider == AIProvider::gemini;
    Platform::HttpRequest probe;
    probe.url = gemini ? appendingPath(settings_.geminiBaseURL, "v1beta/models").value_or("")
                       : appendingPath(settings_.openAIBaseURL, "v1/models").value_or("");
    if (gemini) {
        probe.headers.emplace_back("x-goog-api-key", Support::Text::trimmed(keys_.gemini));
    } else if (!keys_.openAI.empty()) {
        probe.headers.emplace_back("Authorization", "Bearer " + keys_.openAI);
    }
    probe.timeout = Support::seconds(15);
    // A local server loading a large model takes minutes, not hours.
    for (int attempt = 0; attempt < 300; ++attempt) {
        Platform::HttpResponse response;
        try {
            co_await scheduler_.sleepFor(Support::seconds(2));
            auto pending1 = Support::awaitOwned(http_.send(probe));
            response = co_await pending1;
        } catch (const Support::Cancelled&) {
            // Cancelled with the service (or by the awaiter, which then sees its own cancellation).
            throw GenerationUnavailable(GenerationUnavailableReason::appQuitting());
        } catch (const Platform::HttpTransportError& e) {
            isLoading_ = false;
            auto reason = GenerationUnavailableReason::engineError(e.description());
            noteFailure(reason);
            throw GenerationUnavailable(reason);
        }
        if (response.status == 503) {
            continue;
        }
        if (response.isSuccess()) {
            noteSuccess();
            co_return;
        }
        auto reason = reasonForProviderAnswer(settings_.provider, response.status, response.body,
                                              settings_.modelName());
        isLoading_ = false;
        noteFailure(reason);
        throw GenerationUnavailable(reason);
    }
    isLoading_ = false;
    throw GenerationUnavailable(
        GenerationUnavailableReason::engineError("The AI server is still loading its model."));
}

Platform::HttpRequest AIService::httpRequest(const Request& request) const {
    Platform::HttpRequest http;
    http.method = "POST";
    // Prompt processing of a long context on a local CPU server can take minutes before the first byte.
    http.timeout = Support::seconds(300);
    http.headers.emplace_back("Content-Type", "application/json");
    std::string user = request.instruction;
    if (!request.context.empty()) {
        user += "\n\n" + request.context;
    }
    if (settings_.provider == AIProvider::gemini) {
        http.url = appendingPath(settings_.geminiBaseURL, "v1beta/models/" +
                                                              Support::percentEncoded(settings_.geminiModel) +
                                                              ":streamGenerateContent?alt=sse")
                       .value_or("");
        http.headers.emplace_back("x-goog-api-key", Support::Text::trimmed(keys_.gemini));
        json contents = json::array();
        for (const auto& [role, text] : request.history) {
            contents.push_back(
                {{"role", role == "assistant" ? "model" : "user"}, {"parts", {{{"text", text}}}}});
        }
        contents.push_back({{"role", "user"}, {"parts", {{{"text", user}}}}});
        json body = {{"contents", contents},
                     {"generationConfig",
                      {{"temperature", request.parameters.temperature},
                       {"maxOutputTokens", request.parameters.maxOutputTokens}}}};
        if (!request.systemPrompt.empty()) {
            body["systemInstruction"] = {{"parts", {{{"text", request.systemPrompt}}}}};
        }
        http.body = body.dump(-1, ' ', false, json::error_handler_t::replace);
    } else {
        http.url = appendingPath(settings_.openAIBaseURL, "v1/chat/completions").value_or("");
        if (!keys_.openAI.empty()) {
            http.headers.emplace_back("Authorization", "Bearer " + Support::Text::trimmed(keys_.openAI));
        }
        http.headers.emplace_back("Accept", "text/event-stream");
        json messages = json::array();
        if (!request.systemPrompt.empty()) {
            messages.push_back({{"role", "system"}, {"content", request.systemPrompt}});
        }
        for (const auto& [role, text] : request.history) {
            messages.push_back({{"role", role}, {"content", text}});
        }
        messages.push_back({{"role", "user"}, {"content", user}});
        json body = {{"model", settings_.openAIModel},
                     {"messages", messages},
                     {"stream", true},
                     {"temperature", request.parameters.temperature},
                     {"max_tokens", request.parameters.maxOutputTokens}};
        http.body = body.dump(-1, ' ', false, json::error_handler_t::replace);
    }
    return http;
}

TextStream AIService::generate(Request request) {
    if (auto reason = unavailableReason()) {
        return TextStream::failing(std::make_exception_ptr(GenerationUnavailable(*reason)));
    }
    auto transfer = httpRequest(request);
    auto provider = settings_.provider;
    return TextStream::make([this, transfer = std::move(transfer), provider](TextStream::Sink sink) {
        return tasks_.add(stream(transfer, provider, sink));
    });
}

Support::Task<void> AIService::stream(Platform::HttpRequest request, AIProvider provider,
                                      TextStream::Sink sink) {
    // A local server answers 503 while it loads its model: wait until it is ready, then ask again.
    for (int attempt = 0;; ++attempt) {
        bool serverWasLoading = false;
        try {
            auto once = Support::awaitOwned(streamOnce(request, provider, sink));
            serverWasLoading = co_await once;
            if (serverWasLoading && attempt < 2) {
                auto wait = Support::awaitOwned(waitUntilReadyNow({}));
                co_await wait;
            }
        } catch (const Support::Cancelled&) {
            // The service is going away (a reader that stopped the stream sees its own cancellation).
            throw GenerationUnavailable(GenerationUnavailableReason::appQuitting());
        }
        if (!serverWasLoading) {
            co_return;
        }
        if (attempt >= 2) {
            throw GenerationUnavailable(
                GenerationUnavailableReason::engineError("The AI server is still loading its model."));
        }
    }
}

Support::Task<bool> AIService::streamOnce(Platform::HttpRequest request, AIProvider provider,
                                          TextStream::Sink sink) {
    struct State {
        int status = 0;
        bool isEventStream = true;
        bool done = false;
        std::string errorBody;
        std::string plainBody;
        ServerSentEventParser parser;
        std::exception_ptr failure;
        bool yieldedAny = false;
    };
    auto state = std::make_shared<State>();
    auto handle = [state, provider, sink](const std::vector<ServerSentEvent>& events) {
        for (const auto& event : events) {
            if (state->done || state->failure) {
                return;
            }
            if (event.data == "[DONE]") {
                state->done = true;
                return;
            }
            auto parsed = json::parse(event.data, nullptr, false);
            try {
                if (auto fragment = fragmentOf(provider, parsed)) {
                    state->yieldedAny = true;
                    sink.yield(*fragment);
                }
            } catch (...) {
                state->failure = std::current_exception();
            }
        }
    };
    Platform::HttpStreamHandlers handlers;
    handlers.onResponse = [state](const Platform::HttpResponse& head) {
        state->status = head.status;
        auto type = head.header("Content-Type").value_or("");
        state->isEventStream = type.empty() || type.find("event-stream") != std::string::npos;
    };
    handlers.onChunk = [state, handle](const std::string& chunk) {
        if (state->status < 200 || state->status >= 300) {
            if (state->errorBody.size() < 65536) {
                state->errorBody += chunk;
            }
            return;
        }
        if (!state->isEventStream) {
            state->plainBody += chunk;
            return;
        }
        try {
            handle(state->parser.feed(chunk));
        } catch (...) {
            if (!state->failure) {
                state->failure = std::current_exception();
            }
        }
    };
    const std::string model = settings_.modelName();
    try {
        auto pending2 = Support::awaitOwned(http_.stream(request, handlers));
        auto response = co_await pending2;
        (void)response;
    } catch (const Support::Cancelled&) {
        // Cancelled with the service (or by the awaiter, which then sees its own cancellation).
        throw GenerationUnavailable(GenerationUnavailableReason::appQuitting());
    } catch (const Platform::HttpTransportError& e) {
        auto reason = GenerationUnavailableReason::engineError(e.description());
        noteFailure(reason);
        throw GenerationUnavailable(reason);
    }
    if (state->status == 503) {
        isLoading_ = true;
        status_.set(Status::loading(model));
        co_return true;
    }
    if (state->status < 200 || state->status >= 300) {
        auto reason = reasonForProviderAnswer(provider, state->status, state->errorBody, model);
        log.warning("The AI provider answered {}", state->status);
        noteFailure(reason);
        throw GenerationUnavailable(reason);
    }
    if (state->isEventStream) {
        handle(state->parser.finish());
    } else {
        // A server that ignored "stream": the whole answer as one JSON body.
        try {
            if (auto fragment = fragmentOf(provider, json::parse(state->plainBody, nullptr, false))) {
                sink.yield(*fragment);
            }
        } catch (...) {
            state->failure = std::current_exception();
        }
    }
    if (state->failure) {
        try {
            std::rethrow_exception(state->failure);
        } catch (const GenerationUnavailable& e) {
            noteFailure(e.reason());
            throw;
        } catch (const std::length_error& e) {
            throw GenerationUnavailable(GenerationUnavailableReason::engineError(e.what()));
        }
    }
    noteSuccess();
    co_return false;
}

} // namespace Intelligence

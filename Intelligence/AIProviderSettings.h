// Which language-model provider the AI features use, kept in the user's defaults, and the provider API
// keys, kept apart in a file only the user can read.
//
// Providers: none (AI off), an OpenAI-compatible server (base URL, key and model: OpenAI itself, or a local
// llama.cpp server, Ollama or vLLM, whose key may be any text), or Google's Gemini API (key and model).
// Reading never fails: a missing or unknown value falls back to its default. Keys are never written to the
// defaults file and never logged; the key file is written atomically with mode 0600, and a key file that
// cannot be parsed is reported, never overwritten unread.
#pragma once

#include "Support/Errors.h"
#include "Support/UserDefaults.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Intelligence {

enum class AIProvider { none, openAICompatible, gemini };

/// "none", "openai", "gemini".
std::string_view rawValue(AIProvider provider);
std::optional<AIProvider> aiProviderFromRawValue(std::string_view raw);

inline constexpr const char* defaultOpenAIBaseURL = "https://api.openai.com";
inline constexpr const char* defaultGeminiBaseURL = "https://generativelanguage.googleapis.com";
inline constexpr const char* defaultOpenAIModel = "gpt-4o-mini";
inline constexpr const char* defaultGeminiModel = "gemini-2.5-flash";

struct AIProviderSettings {
    static constexpr const char* providerKey = "ai.provider";
    static constexpr const char* openAIBaseURLKey = "ai.openai.baseURL";
    static constexpr const char* openAIModelKey = "ai.openai.model";
    static constexpr const char* geminiBaseURLKey = "ai.gemini.baseURL";
    static constexpr const char* geminiModelKey = "ai.gemini.model";

    AIProvider provider = AIProvider::none;
    /// Without "/v1": the paths "v1/models" and "v1/chat/completions" are appended.
    std::string openAIBaseURL = defaultOpenAIBaseURL;
    std::string openAIModel = defaultOpenAIModel;
    std::string geminiBaseURL = defaultGeminiBaseURL;
    std::string geminiModel = defaultGeminiModel;

    /// The model name of the chosen provider (empty for none).
    std::string modelName() const;

    static AIProviderSettings load(const Support::UserDefaults& defaults);
    void save(Support::UserDefaults& defaults) const;

    bool operator==(const AIProviderSettings&) const = default;
};

struct AIKeys {
    std::string openAI{};
    std::string gemini{};
    /// The transcription server's key (`vellmora transcription configure`); empty: the OpenAI key is used.
    std::string transcription{};
    bool operator==(const AIKeys&) const = default;
};

class AIKeyStore {
public:
    /// `ai-keys.json` in the config folder.
    static std::filesystem::path defaultPath();

    explicit AIKeyStore(std::filesystem::path path = defaultPath()) : path_(std::move(path)) {}

    /// The stored keys; empty ones when there is no file. Throws `Support::UserFacingError` when the file
    /// exists but cannot be read or parsed.
    AIKeys load() const;
    /// Replaces the file (mode 0600, atomically).
    void save(const AIKeys& keys) const;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_{};
};

} // namespace Intelligence

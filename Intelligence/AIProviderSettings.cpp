#include "Intelligence/AIProviderSettings.h"

#include "Support/EnumNames.h"
#include "Support/Files.h"
#include "Support/Text.h"

#include <nlohmann/json.hpp>

namespace Intelligence {

constexpr Support::EnumName<AIProvider> providerNames[] = {
    {AIProvider::none, "none"},
    {AIProvider::openAICompatible, "openai"},
    {AIProvider::gemini, "gemini"},
};

std::string_view rawValue(AIProvider provider) {
    return Support::enumName(providerNames, provider);
}

std::optional<AIProvider> aiProviderFromRawValue(std::string_view raw) {
    return Support::enumValue(providerNames, raw);
}

std::string AIProviderSettings::modelName() const {
    switch (provider) {
    case AIProvider::none:
        return "";
    case AIProvider::openAICompatible:
        return openAIModel;
    case AIProvider::gemini:
        return geminiModel;
    }
    return "";
}

namespace {
std::string nonBlank(const Support::UserDefaults& defaults, const char* key, const char* fallback) {
    auto value = defaults.string(key);
    if (!value || Support::Text::isBlank(*value)) {
        return fallback;
    }
    return Support::Text::trimmed(*value);
}
} // namespace

AIProviderSettings AIProviderSettings::load(const Support::UserDefaults& defaults) {
    AIProviderSettings s;
    if (auto raw = defaults.string(providerKey)) {
        s.provider = aiProviderFromRawValue(*raw).value_or(AIProvider::none);
    }
    s.openAIBaseURL = nonBlank(defaults, openAIBaseURLKey, defaultOpenAIBaseURL);
    s.openAIModel = nonBlank(defaults, openAIModelKey, defaultOpenAIModel);
    s.geminiBaseURL = nonBlank(defaults, geminiBaseURLKey, defaultGeminiBaseURL);
    s.geminiModel = nonBlank(defaults, geminiModelKey, defaultGeminiModel);
    return s;
}

void AIProviderSettings::save(Support::UserDefaults& defaults) const {
    defaults.setString(providerKey, std::string(rawValue(provider)));
    defaults.setString(openAIBaseURLKey, openAIBaseURL);
    defaults.setString(openAIModelKey, openAIModel);
    defaults.setString(geminiBaseURLKey, geminiBaseURL);
    defaults.setString(geminiModelKey, geminiModel);
}

std::filesystem::path AIKeyStore::defaultPath() {
    return Support::Files::configHome() / "ai-keys.json";
}

AIKeys AIKeyStore::load() const {
    std::optional<std::string> text;
    try {
        text = Support::Files::readIfExists(path_);
    } catch (const std::exception&) {
        throw Support::UserFacingError("The AI key file " + path_.string() + " can't be read.");
    }
    if (!text) {
        return {};
    }
    auto json = nlohmann::json::parse(*text, nullptr, false);
    if (!json.is_object()) {
        throw Support::UserFacingError("The AI key file " + path_.string() +
                                       " is damaged. Fix or delete it, then set your keys again.");
    }
    AIKeys keys;
    if (auto it = json.find("openai"); it != json.end() && it->is_string()) {
        keys.openAI = it->get<std::string>();
    }
    if (auto it = json.find("gemini"); it != json.end() && it->is_string()) {
        keys.gemini = it->get<std::string>();
    }
    if (auto it = json.find("transcription"); it != json.end() && it->is_string()) {
        keys.transcription = it->get<std::string>();
    }
    return keys;
}

void AIKeyStore::save(const AIKeys& keys) const {
    nlohmann::json json = {{"openai", keys.openAI}, {"gemini", keys.gemini}};
    if (!keys.transcription.empty()) {
        json["transcription"] = keys.transcription;
    }
    Support::Files::writeAtomically(path_, json.dump(2) + "\n", 0600);
}

} // namespace Intelligence

#include "Intelligence/TranscriptionSettings.h"

#include "Support/Text.h"

#include <array>

namespace Intelligence {

namespace {
constexpr std::array allEngines = {TranscriptionEngine::none, TranscriptionEngine::server,
                                   TranscriptionEngine::whisperCli, TranscriptionEngine::simulated};

std::string nonBlank(const Support::UserDefaults& defaults, const char* key, const std::string& fallback) {
    auto value = defaults.string(key);
    if (!value || Support::Text::isBlank(*value)) {
        return fallback;
    }
    return Support::Text::trimmed(*value);
}
} // namespace

std::string_view rawValue(TranscriptionEngine engine) {
    switch (engine) {
    case TranscriptionEngine::none:
        return "none";
    case TranscriptionEngine::server:
        return "server";
    case TranscriptionEngine::whisperCli:
        return "whisper-cli";
    case TranscriptionEngine::simulated:
        return "simulated";
    }
    return "none";
}

std::optional<TranscriptionEngine> transcriptionEngineFromRawValue(std::string_view raw) {
    for (auto e : allEngines) {
        if (rawValue(e) == raw) {
            return e;
        }
    }
    return std::nullopt;
}

TranscriptionSettings TranscriptionSettings::load(const Support::UserDefaults& defaults) {
    TranscriptionSettings s;
    if (auto raw = defaults.string(engineKey)) {
        s.engine = transcriptionEngineFromRawValue(*raw).value_or(TranscriptionEngine::none);
    }
    s.language = nonBlank(defaults, languageKey, s.language);
    s.serverBaseURL = nonBlank(defaults, serverBaseURLKey, s.serverBaseURL);
    s.serverModel = nonBlank(defaults, serverModelKey, s.serverModel);
    s.responseFormat = nonBlank(defaults, responseFormatKey, s.responseFormat);
    if (s.responseFormat != "verbose_json" && s.responseFormat != "diarized_json") {
        s.responseFormat = "verbose_json";
    }
    if (auto bytes = defaults.integer(maxUploadBytesKey); bytes && *bytes >= 64 * 1024) {
        s.maxUploadBytes = *bytes;
    }
    s.whisperCliPath = nonBlank(defaults, whisperCliPathKey, "");
    s.whisperModel = nonBlank(defaults, whisperModelKey, s.whisperModel);
    return s;
}

void TranscriptionSettings::save(Support::UserDefaults& defaults) const {
    defaults.setString(engineKey, std::string(rawValue(engine)));
    defaults.setString(languageKey, language);
    defaults.setString(serverBaseURLKey, serverBaseURL);
    defaults.setString(serverModelKey, serverModel);
    defaults.setString(responseFormatKey, responseFormat);
    defaults.setInteger(maxUploadBytesKey, maxUploadBytes);
    defaults.setString(whisperCliPathKey, whisperCliPath);
    defaults.setString(whisperModelKey, whisperModel);
}

} // namespace Intelligence

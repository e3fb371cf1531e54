#include "Intelligence/TranscriptionSettings.h"

#include "Support/EnumNames.h"
#include "Support/Text.h"

namespace Intelligence {

namespace {
std::string nonBlank(const Support::UserDefaults& defaults, const char* key, const std::string& fallback) {
    auto value = defaults.string(key);
    if (!value || Support::Text::isBlank(*value)) {
        return fallback;
    }
    return Support::Text::trimmed(*value);
}
} // namespace

constexpr Support::EnumName<TranscriptionEngine> transcriptionEngineNames[] = {
    {TranscriptionEngine::none, "none"},
    {TranscriptionEngine::server, "server"},
    {TranscriptionEngine::whisperCli, "whisper-cli"},
    {TranscriptionEngine::simulated, "simulated"},
};

std::string_view rawValue(TranscriptionEngine engine) {
    return Support::enumName(transcriptionEngineNames, engine);
}

std::optional<TranscriptionEngine> transcriptionEngineFromRawValue(std::string_view raw) {
    return Support::enumValue(transcriptionEngineNames, raw);
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

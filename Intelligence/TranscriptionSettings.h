// Which speech engine transcribes recordings, kept in the user's defaults (`vellmora transcription
// configure`); the server's key is kept with the AI keys (`AIKeys::transcription`, file mode 0600).
//
// Engines: none (nothing is transcribed; recordings wait in the queue), a server speaking
// `POST /v1/audio/transcriptions` (OpenAI, Groq, whisper.cpp's whisper-server, speaches, LocalAI), the
// whisper.cpp command-line program with a ggml model file, and the demo's simulated engine. Reading never
// fails: a missing or unknown value falls back to its default.
#pragma once

#include "Support/UserDefaults.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Intelligence {

enum class TranscriptionEngine { none, server, whisperCli, simulated };

/// "none", "server", "whisper-cli", "simulated".
std::string_view rawValue(TranscriptionEngine engine);
std::optional<TranscriptionEngine> transcriptionEngineFromRawValue(std::string_view raw);

struct TranscriptionSettings {
    static constexpr const char* engineKey = "transcription.engine";
    static constexpr const char* languageKey = "transcription.language";
    static constexpr const char* serverBaseURLKey = "transcription.server.baseURL";
    static constexpr const char* serverModelKey = "transcription.server.model";
    static constexpr const char* responseFormatKey = "transcription.server.responseFormat";
    static constexpr const char* maxUploadBytesKey = "transcription.server.maxUploadBytes";
    static constexpr const char* whisperCliPathKey = "transcription.whisperCli.path";
    static constexpr const char* whisperModelKey = "transcription.whisperCli.model";

    static constexpr std::int64_t defaultMaxUploadBytes = 25 * 1000 * 1000;

    TranscriptionEngine engine = TranscriptionEngine::none;
    /// "auto" or a language code.
    std::string language = "auto";
    /// Without "/v1": "v1/audio/transcriptions" is appended.
    std::string serverBaseURL = "https://api.openai.com";
    std::string serverModel = "whisper-1";
    /// "verbose_json" (segments) or "diarized_json" (segments with speakers).
    std::string responseFormat = "verbose_json";
    std::int64_t maxUploadBytes = defaultMaxUploadBytes;
    /// Empty: `whisper-cli` on PATH.
    std::string whisperCliPath;
    /// A model name from the catalogue ("base.en") or a path to a ggml file.
    std::string whisperModel = "base.en";

    static TranscriptionSettings load(const Support::UserDefaults& defaults);
    void save(Support::UserDefaults& defaults) const;

    bool operator==(const TranscriptionSettings&) const = default;
};

} // namespace Intelligence

// Builds the speech engine the settings name, for the host's transcription queue and the `transcribe`
// commands: the transcription server (key from the AI key file: the transcription key, else the OpenAI
// key), whisper-cli (named in the settings or found on PATH) with its model (a catalogue name in the models
// folder, or a path), or the demo's simulated engine. Throws `Intelligence::TranscriptionError` with the
// sentence that says what to set up when the engine cannot be used (retryable: the recording waits).
#pragma once

#include "Intelligence/SpeechRecognizer.h"
#include "Intelligence/TranscriptionSettings.h"
#include "Platform/HttpClient.h"
#include "Support/Scheduler.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace App::SpeechEngines {

struct Environment {
    Platform::HttpClient& http;
    Support::Scheduler& scheduler;
    /// A PATH value for finding whisper-cli.
    std::string searchPath;
    /// When set, a missing catalogue model of whisper-cli is downloaded at the first transcription, its
    /// progress (0…1, then nothing at the end) reported here; unset, a missing model is an error.
    std::function<void(std::optional<double>)> modelDownloadProgress = {};
};

std::shared_ptr<Intelligence::SpeechRecognizer> make(const Intelligence::TranscriptionSettings& settings,
                                                     const Environment& environment);

/// The ggml file a model setting names: a path when it contains "/" or ends in ".bin", else the catalogue
/// model's file in the models folder.
std::filesystem::path modelFile(const std::string& setting);

/// A one-line description of the configured engine ("the transcription server at ... (model whisper-1)").
std::string describe(const Intelligence::TranscriptionSettings& settings);

} // namespace App::SpeechEngines

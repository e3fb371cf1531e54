#include "App/host/SpeechEngines.h"

#include "Intelligence/AIProviderSettings.h"
#include "Intelligence/OpenAITranscriber.h"
#include "Intelligence/SimulatedTranscriber.h"
#include "Intelligence/SpeechModels.h"
#include "Intelligence/WhisperCliTranscriber.h"
#include "Platform/ProcessSpawning.h"
#include "Support/Files.h"

namespace App::SpeechEngines {

using Intelligence::TranscriptionEngine;
using Intelligence::TranscriptionError;

std::filesystem::path modelFile(const std::string& setting) {
    if (setting.find('/') != std::string::npos || setting.ends_with(".bin")) {
        return setting;
    }
    return Intelligence::SpeechModels().path(setting);
}

std::string describe(const Intelligence::TranscriptionSettings& settings) {
    switch (settings.engine) {
    case TranscriptionEngine::none:
        return "none (recordings wait in the queue)";
    case TranscriptionEngine::server:
        return "the transcription server at " + settings.serverBaseURL + " (model " + settings.serverModel +
               ", " + settings.responseFormat + ")";
    case TranscriptionEngine::whisperCli:
        return (settings.whisperCliPath.empty() ? std::string("whisper-cli on PATH")
                                                : settings.whisperCliPath) +
               " with the model " + modelFile(settings.whisperModel).string();
    case TranscriptionEngine::simulated:
        return "the simulated engine (demo lines)";
    }
    return "none";
}

std::shared_ptr<Intelligence::SpeechRecognizer> make(const Intelligence::TranscriptionSettings& settings,
                                                     const Environment& environment) {
    switch (settings.engine) {
    case TranscriptionEngine::none:
        throw TranscriptionError(
            "No speech engine is set up. Choose one with `vellmora transcription configure "
            "--engine server|whisper-cli`.",
            true);
    case TranscriptionEngine::simulated:
        return std::make_shared<Intelligence::SimulatedTranscriber>(environment.scheduler);
    case TranscriptionEngine::server: {
        Intelligence::AIKeys keys;
        try {
            keys = Intelligence::AIKeyStore().load();
        } catch (const Support::UserFacingError& e) {
            throw TranscriptionError(e.description(), true);
        }
        Intelligence::OpenAITranscriber::Config config;
        config.baseURL = settings.serverBaseURL;
        config.model = settings.serverModel;
        config.key = !keys.transcription.empty() ? keys.transcription : keys.openAI;
        config.responseFormat = settings.responseFormat;
        config.maxUploadBytes = settings.maxUploadBytes;
        if (config.key.empty() && settings.serverBaseURL.find("api.openai.com") != std::string::npos) {
            throw TranscriptionError(
                "The transcription server at " + settings.serverBaseURL +
                    " needs a key. Set it with `vellmora transcription configure --key`.",
                true);
        }
        return std::make_shared<Intelligence::OpenAITranscriber>(environment.http, environment.scheduler,
                                                                 config);
    }
    case TranscriptionEngine::whisperCli: {
        std::optional<std::filesystem::path> program;
        if (!settings.whisperCliPath.empty()) {
            program = settings.whisperCliPath.find('/') == std::string::npos
                          ? Platform::findExecutable(settings.whisperCliPath, environment.searchPath)
                          : std::optional<std::filesystem::path>(settings.whisperCliPath);
        } else {
            program = Platform::findExecutable("whisper-cli", environment.searchPath);
        }
        if (!program) {
            throw TranscriptionError(
                "whisper-cli was not found. Build whisper.cpp and put whisper-cli on PATH, or "
                "name it with `vellmora transcription configure --program PATH`.",
                true);
        }
        Intelligence::WhisperCliTranscriber::Config config;
        config.program = *program;
        config.model = modelFile(settings.whisperModel);
        config.workFolder = Support::Files::cacheHome() / "transcription";
        if (environment.modelDownloadProgress && Intelligence::SpeechModels::find(settings.whisperModel)) {
            auto* http = &environment.http;
            auto report = environment.modelDownloadProgress;
            const auto name = settings.whisperModel;
            config.fetchModel = [http, report, name] {
                return Support::startTask([http, report, name]() -> Support::Task<void> {
                    Intelligence::SpeechModels models;
                    report(0.0);
                    std::optional<std::string> failure;
                    try {
                        auto download = models.download(*http, name, [report](double p) { report(p); });
                        co_await Support::awaitOwned(download);
                    } catch (const Support::UserFacingError& e) {
                        failure = e.description();
                    }
                    report(std::nullopt);
                    if (failure) {
                        throw Support::UserFacingError(*failure);
                    }
                });
            };
        }
        return std::make_shared<Intelligence::WhisperCliTranscriber>(environment.scheduler, config);
    }
    }
    return nullptr;
}

} // namespace App::SpeechEngines

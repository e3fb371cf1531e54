#include "Intelligence/WhisperCliTranscriber.h"

#include "Intelligence/AudioPieces.h"
#include "Intelligence/TranscriptionResponse.h"
#include "Platform/ChildProcess.h"
#include "Platform/HttpClient.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Uuid.h"

#include <csignal>
#include <fstream>
#include <memory>

namespace Intelligence {

WhisperCliTranscriber::WhisperCliTranscriber(Support::Scheduler& scheduler, Config config)
    : scheduler_(scheduler), config_(std::move(config)) {}

std::vector<std::string> WhisperCliTranscriber::arguments(const Config& config,
                                                          const std::filesystem::path& wav,
                                                          const std::filesystem::path& stem,
                                                          const SpeechOptions& options) {
    std::vector<std::string> args = {"-m",  config.model.string(), "-f", wav.string(), "-oj",
                                     "-of", stem.string(),         "-np"};
    args.push_back("-l");
    args.push_back(options.language.empty() ? "auto" : options.language);
    if (auto prompt = options.prompt(); !prompt.empty()) {
        args.push_back("--prompt");
        args.push_back(prompt);
    }
    return args;
}

namespace {
/// Removes the work files when the transcription ends, however it ends.
struct WorkFiles {
    std::filesystem::path wav, stem, json, log;
    ~WorkFiles() {
        std::error_code ignored;
        for (const auto* file : {&wav, &json, &log}) {
            std::filesystem::remove(*file, ignored);
        }
    }
};
} // namespace

Support::Task<std::vector<SpeechSegment>>
WhisperCliTranscriber::transcribe(SpeechTrack track, SpeechOptions options, Progress progress) {
    if (!std::filesystem::exists(config_.model) && config_.fetchModel) {
        std::optional<std::string> fetchFailure;
        try {
            auto fetch = config_.fetchModel();
            co_await Support::awaitOwned(fetch);
        } catch (const Support::UserFacingError& e) {
            fetchFailure = e.description();
        }
        if (fetchFailure) {
            throw TranscriptionError(*fetchFailure, true);
        }
    }
    if (!std::filesystem::exists(config_.model)) {
        throw TranscriptionError(
            "The speech model " + config_.model.string() +
                " is not there. Download one with `vellmora transcription models download "
                "base.en`, or name a ggml file with `vellmora transcription configure "
                "--model`.",
            true);
    }
    auto files = std::make_shared<WorkFiles>();
    const auto name = Support::Uuid::generate();
    files->wav = config_.workFolder / (name + ".wav");
    files->stem = config_.workFolder / name;
    files->json = config_.workFolder / (name + ".json");
    files->log = config_.workFolder / (name + ".log");
    const auto source = track.file;
    // The work files are removed when this frame ends: the pool's copies of the jobs hold only their paths.
    const auto wav = files->wav;
    const auto json = files->json;
    co_await Support::BlockingWork::run([wav, source] {
        AudioFile audio(source);
        std::filesystem::create_directories(wav.parent_path());
        std::ofstream out(wav, std::ios::binary | std::ios::trunc);
        AudioPieces::encodeWav16k(audio, {0, audio.frames()}, [&out](std::string_view bytes) {
            out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        });
        out.flush();
        if (!out) {
            throw TranscriptionError("The temporary audio file " + wav.string() + " cannot be written.",
                                     true);
        }
    });

    // The program runs as a child watched from the main loop, so that cancelling the transcription (a
    // quit, a deleted recording) kills it at once instead of waiting for hours of audio to end.
    std::unique_ptr<Platform::ChildProcess> program;
    try {
        program = std::make_unique<Platform::ChildProcess>(
            Platform::ChildProcess::Options{.executable = config_.program.string(),
                                            .arguments = arguments(config_, files->wav, files->stem, options),
                                            .output = Platform::ChildProcess::Output::file,
                                            .outputFile = files->log,
                                            .parentDeathSignal = SIGKILL});
    } catch (const std::system_error& e) {
        throw TranscriptionError(
            config_.program.string() + " cannot be started (" + e.code().message() +
                "). Install whisper.cpp or name its whisper-cli with `vellmora transcription "
                "configure --program`.",
            true);
    }
    const bool ended = co_await Platform::endsWithin(*program, scheduler_, config_.timeout);
    const int status = program->exitStatus().value_or(-1);
    program.reset(); // a program that took too long is killed here
    if (!ended || status != 0) {
        auto said = Platform::lastLogLine(files->log);
        throw TranscriptionError(std::string("whisper-cli ") +
                                     (!ended ? "took too long and was stopped"
                                             : "failed (exit status " + std::to_string(status) + ")") +
                                     (said.empty() ? "." : ": " + said),
                                 true);
    }
    auto output = co_await Support::BlockingWork::run([json] { return Support::Files::readIfExists(json); });
    std::optional<std::vector<SpeechSegment>> segments;
    if (output) {
        segments = TranscriptionResponse::parseWhisperCliOutput(*output);
    }
    if (!segments) {
        throw TranscriptionError(
            "whisper-cli wrote no transcript that can be read (" + files->json.string() + ").", true);
    }
    for (auto& s : *segments) {
        s.start += track.offset;
        s.end += track.offset;
    }
    if (progress) {
        progress(1.0);
    }
    co_return *segments;
}

} // namespace Intelligence

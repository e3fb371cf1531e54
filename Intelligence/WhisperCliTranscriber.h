// The speech engine that runs whisper.cpp's command-line program (`whisper-cli`) with a ggml model file, once
// per track: the track is first written as a 16 kHz mono WAV in the cache folder (read a second at a time),
// then `whisper-cli -m MODEL -f WAV -oj -of STEM -np [-l LANG] [--prompt NAMES]` writes STEM.json, which is
// read back (`TranscriptionResponse::parseWhisperCliOutput`) and shifted by the track's offset. The
// temporary files are removed whatever happens.
//
// A missing model file, a program that cannot be started, one that fails, or output that cannot be read
// throw `TranscriptionError` with a sentence naming what to do; all but unreadable audio are worth retrying
// once the setup is fixed. The program runs as a child watched from the main loop, within `timeout` of the
// scheduler's time; its output goes to a log file whose last line explains a failure. Cancelling the task
// kills it (and whatever it started) at once, and so does the host's death.
#pragma once

#include "Intelligence/SpeechRecognizer.h"
#include "Support/Scheduler.h"

#include <filesystem>
#include <functional>

namespace Intelligence {

class WhisperCliTranscriber final : public SpeechRecognizer {
public:
    struct Config {
        /// An absolute path to the program.
        std::filesystem::path program;
        std::filesystem::path model;
        /// Where the temporary WAV and JSON files go.
        std::filesystem::path workFolder;
        Support::Duration timeout = Support::seconds(6 * 3600);
        /// Fetches the model when its file is missing (the host downloads a catalogue model, showing
        /// "Speech models N%"); throws `Support::UserFacingError` when it cannot. Empty: a missing model is
        /// an error.
        std::function<Support::Task<void>()> fetchModel;
    };

    WhisperCliTranscriber(Support::Scheduler& scheduler, Config config);

    std::string name() const override { return "whisper-cli"; }
    Support::Task<std::vector<SpeechSegment>> transcribe(SpeechTrack track, SpeechOptions options,
                                                         Progress progress) override;

    /// The program's arguments for one track.
    static std::vector<std::string> arguments(const Config& config, const std::filesystem::path& wav,
                                              const std::filesystem::path& stem,
                                              const SpeechOptions& options);

private:
    Support::Scheduler& scheduler_;
    Config config_;
};

} // namespace Intelligence

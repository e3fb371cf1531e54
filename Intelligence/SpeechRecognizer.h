// The speech-recognition engines behind transcription: one audio track in, timed segments out.
//
// Used by the processing queue (UI/transcription/TranscriptionQueue) once per track of a saved recording,
// and by `vellmora transcribe`. Engines: a server speaking `POST /v1/audio/transcriptions`
// (`OpenAITranscriber`), the whisper.cpp command-line program (`WhisperCliTranscriber`) and the demo's
// scripted lines (`SimulatedTranscriber`).
//
// Contract:
// - `transcribe` reads the track's audio in pieces (a two-hour recording is never held whole in memory).
// - Segment times are seconds from the start of the recording: the track's `offset` is already added.
// - Texts are the engine's own: the caller cleans them (`cleanWhisperTokens`) and drops the empty ones.
// - Cancelling the task stops the work at its next await (an upload is cut at once) and throws
//   `Support::Cancelled`.
// - `progress` (0…1) is called on the main loop as pieces are done; it may be empty.
// - A missing engine, model, key or server, or an answer that cannot be used, throws `TranscriptionError`
//   whose description is one sentence a user can read; `retryLater` says whether the same audio may
//   succeed later unchanged (nothing configured, server away) as opposed to audio that cannot be read.
#pragma once

#include "Support/Errors.h"
#include "Support/Task.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Intelligence {

struct SpeechSegment {
    /// Seconds from the start of the recording.
    double start = 0;
    double end = 0;
    std::string text;
    /// The engine's speaker label when it tells speakers apart; empty otherwise.
    std::string speaker;

    bool operator==(const SpeechSegment&) const = default;
};

struct SpeechTrack {
    std::filesystem::path file;
    /// Seconds from the start of the recording to the track's first sample.
    double offset = 0;
};

struct SpeechOptions {
    /// "auto", or a fixed language code such as "en" (auto-detection per piece may switch languages).
    std::string language = "auto";
    /// The meeting's attendee names, handed to the engine as a prompt where it takes one.
    std::vector<std::string> attendeeNames;

    /// The prompt built from the names ("Alice Smith, Bob Jones."), empty without names.
    std::string prompt() const;
};

class TranscriptionError : public Support::UserFacingError {
public:
    TranscriptionError(const std::string& description, bool retryLater)
        : Support::UserFacingError(description), retryLater_(retryLater) {}
    bool retryLater() const { return retryLater_; }

private:
    bool retryLater_;
};

class SpeechRecognizer {
public:
    using Progress = std::function<void(double fraction)>;

    virtual ~SpeechRecognizer() = default;

    /// A short name for messages ("the transcription server at http://...", "whisper-cli").
    virtual std::string name() const = 0;

    virtual Support::Task<std::vector<SpeechSegment>> transcribe(SpeechTrack track, SpeechOptions options,
                                                                 Progress progress) = 0;
};

} // namespace Intelligence

// The speech engine that talks to a server speaking OpenAI's `POST /v1/audio/transcriptions`: OpenAI and
// Groq with a key, or a local whisper.cpp `whisper-server` (started with `--inference-path
// /v1/audio/transcriptions`), speaches or LocalAI with any key.
//
// Each track is cut into pieces whose 16 kHz WAV stays under the server's upload limit and 16 MB (cuts at
// silences; see `AudioPieces`), uploaded one at a time as multipart form data, and the answers' segment times
// are shifted by the piece's place in the track and the track's offset. Only one piece is in memory at a
// time.
//
// Server answers: `verbose_json` (or `diarized_json`, whose segments name speakers) is asked for; a server
// that rejects that format (a 400 naming "response_format") is asked again for `json`, whose single text
// becomes one segment over the piece. 413: the limit is lowered to three quarters of the refused piece and
// the rest of the track planned again (at silences), as often as the server asks. 429: the engine waits as
// the Retry-After header says (5 s when absent, at most 10 minutes) on the scheduler, up to `maxBusyRetries`
// times. Any other refusal throws a `TranscriptionError` with one sentence built from the server's own words
// (both error shapes). The key is sent only in the Authorization header and never logged.
#pragma once

#include "Intelligence/AudioPieces.h"
#include "Intelligence/SpeechRecognizer.h"
#include "Platform/HttpClient.h"
#include "Support/Scheduler.h"

#include <cstdint>
#include <string>

namespace Intelligence {

class OpenAITranscriber final : public SpeechRecognizer {
public:
    struct Config {
        /// Without "/v1".
        std::string baseURL;
        std::string model = "whisper-1";
        /// Empty: no Authorization header (a local server).
        std::string key;
        /// "verbose_json" or "diarized_json".
        std::string responseFormat = "verbose_json";
        std::int64_t maxUploadBytes = 25 * 1000 * 1000;
        int maxBusyRetries = 6;
        Support::Duration timeout = Support::seconds(300);
    };

    OpenAITranscriber(Platform::HttpClient& http, Support::Scheduler& scheduler, Config config);

    std::string name() const override;
    Support::Task<std::vector<SpeechSegment>> transcribe(SpeechTrack track, SpeechOptions options,
                                                         Progress progress) override;

    /// The multipart body of one piece of `file` as 16 kHz WAV, with `boundary`.
    static std::string multipartBody(const std::string& boundary, AudioFile& file, const AudioPiece& piece,
                                     const std::vector<std::pair<std::string, std::string>>& fields);
    /// The sentence for a refusal with `status` and `body` from the server called `server`.
    static std::string refusalSentence(int status, const std::string& body, const std::string& server);
    /// Seconds to wait for a 429's Retry-After value (a number of seconds or an HTTP date relative to `now`).
    static double retryAfterSeconds(const std::optional<std::string>& header, Support::Date now);

private:
    Platform::HttpClient& http_;
    Support::Scheduler& scheduler_;
    Config config_;
};

} // namespace Intelligence

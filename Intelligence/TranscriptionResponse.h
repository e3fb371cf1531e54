// Reading a transcription server's answer to `POST /v1/audio/transcriptions`, and the whisper.cpp
// command-line program's JSON output, into timed segments. Used by `OpenAITranscriber` and
// `WhisperCliTranscriber`; fuzzed by fuzz/transcription_response_fuzz.cpp.
//
// Server answers: `verbose_json` and `diarized_json` carry "segments" with "start", "end", "text" and (when
// diarized) "speaker"; `json` carries only "text", which becomes one segment over the whole piece. Error
// bodies come in two shapes, {"error": {"message": "..."}} and {"error": "..."}; some servers say
// {"detail": "..."} or answer plain text.
//
// whisper-cli (`-oj`): {"transcription": [{"offsets": {"from": ms, "to": ms}, "text": "..."}]}, where
// "timestamps" repeats the offsets as "00:00:01,000" texts (read when "offsets" is missing).
//
// Nothing here throws: an answer that is not JSON or has no usable text reads as nothing; a segment
// without a usable time is given its neighbour's; negative or reversed times are put in order.
#pragma once

#include "Intelligence/SpeechRecognizer.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Intelligence::TranscriptionResponse {

/// Segments with times relative to the piece; nothing when the body is not a transcription answer.
std::optional<std::vector<SpeechSegment>> parseServerAnswer(std::string_view body, double pieceDuration);

/// The server's own words about a failure, trimmed and cut to 300 characters; empty when there are none.
std::string errorMessage(std::string_view body);

/// Segments with times in seconds from the start of the file whisper-cli read; nothing when the output is
/// not whisper-cli's JSON.
std::optional<std::vector<SpeechSegment>> parseWhisperCliOutput(std::string_view json);

} // namespace Intelligence::TranscriptionResponse

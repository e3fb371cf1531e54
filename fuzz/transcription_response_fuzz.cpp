// What transcription servers answer and what whisper-cli writes, read by the speech engines: any bytes give
// segments whose times are finite, not negative and in order within a segment, and an error sentence of at
// most 300 bytes.
#include "Intelligence/TranscriptionResponse.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {
void check(const std::optional<std::vector<Intelligence::SpeechSegment>>& segments) {
    if (!segments) {
        return;
    }
    for (const auto& s : *segments) {
        if (!std::isfinite(s.start) || !std::isfinite(s.end) || s.start < 0 || s.end < s.start) {
            std::abort();
        }
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    check(Intelligence::TranscriptionResponse::parseServerAnswer(text, 12.5));
    check(Intelligence::TranscriptionResponse::parseWhisperCliOutput(text));
    if (Intelligence::TranscriptionResponse::errorMessage(text).size() > 300) {
        std::abort();
    }
    return 0;
}

// The repair of interrupted Ogg Opus tracks, on any bytes: no crash, never output longer than the input
// plus nothing, a finite non-negative duration, and a repaired file that repairs to itself.
#include "AudioEngine/OggOpusRepair.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    auto result = AudioEngine::OggOpusRepair::repair(bytes);
    if (!result) {
        return 0;
    }
    if (!std::isfinite(result->seconds) || result->seconds < 0 || result->bytes.size() > size) {
        std::abort();
    }
    auto again = AudioEngine::OggOpusRepair::repair(result->bytes);
    if (!again || again->bytes != result->bytes) {
        std::abort();
    }
    return 0;
}

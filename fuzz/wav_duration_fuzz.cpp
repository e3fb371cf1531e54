// The WAV header reader that measures a finished recording, on any bytes and claimed file sizes: no crash,
// no read outside the header, and never a negative or endless duration.
#include "AudioEngine/CommandCapture.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 8) {
        return 0;
    }
    std::uint64_t fileSize = 0;
    std::memcpy(&fileSize, data, sizeof fileSize);
    std::string_view header(reinterpret_cast<const char*>(data) + 8, size - 8);
    for (auto claimed : {std::uint64_t(header.size()), fileSize}) {
        auto seconds = AudioEngine::CommandCapture::wavDuration(header, claimed);
        if (seconds && (!std::isfinite(*seconds) || *seconds < 0)) {
            std::abort();
        }
    }
    return 0;
}

// The note a recording in progress leaves for the recovery, on any text: no crash, and whatever it accepts
// names files inside the recordings folder only and reads back the same after writing.
#include "AudioEngine/CaptureJournal.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto journal =
        AudioEngine::CaptureJournal::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!journal) {
        return 0;
    }
    for (const auto& track : journal->tracks) {
        if (track.file != track.file.filename() || track.file == ".." || track.file == ".") {
            std::abort();
        }
    }
    if (journal->recordingId.find('/') != std::string::npos) {
        std::abort();
    }
    return 0;
}

// The recording importer on arbitrary bytes: it either returns a recording whose fields keep their
// promises or throws ImportError, never anything else.
#include "UI/library/RecordingImporter.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    try {
        auto imported = UI::RecordingImporter::parse(input);
        if (!std::isfinite(imported.recording.duration) || imported.recording.duration < 0 ||
            imported.recording.hasTranscript != !imported.segments.empty()) {
            std::abort();
        }
    } catch (const UI::ImportError&) {
    }
    try {
        for (const auto& s : UI::RecordingImporter::parseSegments(input)) {
            if (!std::isfinite(s.startTime) || s.startTime < 0) {
                std::abort();
            }
        }
    } catch (const UI::ImportError&) {
    }
    return 0;
}

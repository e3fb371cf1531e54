// Finalising an Ogg Opus file that was being written when the program was killed or the power went: the
// bytes on disk end somewhere inside a page or without the end-of-stream page. The repair keeps every
// complete page whose checksum holds, up to the last page on which an audio packet ends, cuts a packet that
// runs on past it, marks that page as the stream's end and gives the file's duration from its granule
// position. A file that ends properly is given back unchanged.
//
// Pure and in memory (the recovery reads and writes the files). Edge cases: bytes that hold no Opus
// identification header, or no audio packet after the headers, give nothing; garbage between pages is
// skipped (libogg resynchronises); pages of another logical stream are dropped.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace AudioEngine {

struct OggOpusRepair {
    struct Result {
        std::string bytes;
        double seconds = 0;
        /// The input already ended with its end-of-stream page and is given back as it was.
        bool wasComplete = false;
    };

    static std::optional<Result> repair(std::string_view bytes);
};

} // namespace AudioEngine

// Small real audio files for the transcription tests and benchmarks: 16-bit PCM WAV written by hand, made
// of spans of tone (speech stands in as a sine) and silence, streamed to disk a second at a time so that a
// benchmark can write hours without holding them.
#pragma once

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Fakes::AudioFiles {

struct Span {
    double seconds = 0;
    /// 0 for silence; else the amplitude (0…1) of a 440 Hz tone.
    double amplitude = 0;
};

inline void putLE(std::ofstream& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.put(static_cast<char>((value >> (8 * i)) & 0xff));
    }
}

/// Writes the spans in order as a mono WAV file at `rate`.
inline void writeWav(const std::filesystem::path& path, const std::vector<Span>& spans, int rate = 16000) {
    std::int64_t frames = 0;
    for (const auto& s : spans) {
        frames += static_cast<std::int64_t>(s.seconds * rate);
    }
    std::ofstream out(path, std::ios::binary);
    const auto dataBytes = static_cast<std::uint32_t>(frames * 2);
    out.write("RIFF", 4);
    putLE(out, 36 + dataBytes, 4);
    out.write("WAVEfmt ", 8);
    putLE(out, 16, 4);
    putLE(out, 1, 2);
    putLE(out, 1, 2);
    putLE(out, static_cast<std::uint32_t>(rate), 4);
    putLE(out, static_cast<std::uint32_t>(rate * 2), 4);
    putLE(out, 2, 2);
    putLE(out, 16, 2);
    out.write("data", 4);
    putLE(out, dataBytes, 4);
    std::vector<char> block;
    std::int64_t t = 0;
    for (const auto& s : spans) {
        const auto n = static_cast<std::int64_t>(s.seconds * rate);
        for (std::int64_t i = 0; i < n; ++i, ++t) {
            const double v = s.amplitude * std::sin(2 * M_PI * 440.0 * static_cast<double>(t) / rate);
            const auto sample = static_cast<std::int16_t>(std::lround(v * 32767));
            block.push_back(static_cast<char>(sample & 0xff));
            block.push_back(static_cast<char>((sample >> 8) & 0xff));
            if (block.size() >= static_cast<size_t>(rate) * 2) {
                out.write(block.data(), static_cast<std::streamsize>(block.size()));
                block.clear();
            }
        }
    }
    out.write(block.data(), static_cast<std::streamsize>(block.size()));
}

} // namespace Fakes::AudioFiles

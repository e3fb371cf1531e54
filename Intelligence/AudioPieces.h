// Reading a recorded audio track in pieces for the speech engines: libsndfile decodes WAV, FLAC and Ogg
// (Vorbis and Opus), which is what capture writes and what users import.
//
// `AudioFile` reads a range of frames mixed down to mono; nothing holds more than a second of source audio
// at a time. `planPieces` cuts a long track into pieces no longer than a limit, each cut placed at the
// quietest tenth of a second in the last quarter of the piece (so a word is rarely split); `encodeWav16k`
// writes a piece as 16 kHz mono 16-bit WAV, the format every engine takes, to a sink a block at a time.
//
// Edge cases: an empty file plans no piece; a file shorter than the limit is one piece; a track whose
// sample rate is not 16 kHz is resampled (averaging when the rate is higher, holding samples when lower).
// A file that cannot be opened or decoded throws `TranscriptionError` (not to be retried).
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Intelligence {

class AudioFile {
public:
    explicit AudioFile(const std::filesystem::path& path);
    ~AudioFile();
    AudioFile(const AudioFile&) = delete;
    AudioFile& operator=(const AudioFile&) = delete;

    int sampleRate() const { return sampleRate_; }
    std::int64_t frames() const { return frames_; }
    double duration() const { return sampleRate_ > 0 ? static_cast<double>(frames_) / sampleRate_ : 0; }

    /// Up to `count` frames from `start`, mixed down to mono; shorter at the end of the file.
    std::vector<float> readMono(std::int64_t start, std::int64_t count);

private:
    struct Handle;
    std::unique_ptr<Handle> handle_;
    std::filesystem::path path_;
    int sampleRate_ = 0;
    int channels_ = 0;
    std::int64_t frames_ = 0;
};

struct AudioPiece {
    std::int64_t start = 0; ///< first frame
    std::int64_t end = 0;   ///< one past the last frame
    bool operator==(const AudioPiece&) const = default;
};

namespace AudioPieces {

inline constexpr int targetRate = 16000;
inline constexpr int wavHeaderBytes = 44;

/// Pure: pieces covering `totalFrames`, each at most `maxFrames` long, cut in the quietest window (of
/// `framesPerWindow` frames, energies in order) of each piece's last quarter.
std::vector<AudioPiece> planFromEnergies(const std::vector<float>& windowEnergies,
                                         std::int64_t framesPerWindow, std::int64_t totalFrames,
                                         std::int64_t maxFrames);

/// Pure: as `planFromEnergies`, for the frames [from, to) only (a piece the server found too large).
std::vector<AudioPiece> planRange(const std::vector<float>& windowEnergies, std::int64_t framesPerWindow,
                                  std::int64_t from, std::int64_t to, std::int64_t maxFrames);

/// The frames of one energy window of `file` (a tenth of a second).
std::int64_t framesPerWindow(const AudioFile& file);
/// The mean square of every window, reading the file once, a second at a time.
std::vector<float> windowEnergies(AudioFile& file);

/// Reads the file once, a second at a time, and plans its pieces.
std::vector<AudioPiece> plan(AudioFile& file, std::int64_t maxFrames);

/// The longest piece (in source frames) whose 16 kHz WAV stays within `maxBytes`.
std::int64_t maxFramesForBytes(std::int64_t maxBytes, int sampleRate);

/// The number of 16 kHz samples a piece becomes.
std::int64_t encodedSamples(const AudioPiece& piece, int sampleRate);

/// Writes the piece as a 16 kHz mono 16-bit WAV file to `sink`, header first, a block at a time.
void encodeWav16k(AudioFile& file, const AudioPiece& piece,
                  const std::function<void(std::string_view)>& sink);

/// The whole WAV in memory (for an upload of one piece).
std::string wav16k(AudioFile& file, const AudioPiece& piece);

} // namespace AudioPieces
} // namespace Intelligence

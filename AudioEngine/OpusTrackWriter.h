// One audio track written as Ogg Opus while it is recorded, so that a crash loses at most the last seconds:
// the encoder hands out a page at least every `pageEvery` of audio, each page goes straight to the file
// (no user-space buffer), and the file is synced to the disk every `syncEvery` of audio. Mono 16-bit
// samples at 48 kHz, encoded as wideband speech (up to 8 kHz) at `bitrate` bits per second: 20 kb/s keeps
// two tracks of speech near 16 MB an hour.
//
// Used by `PulseCapture`, one writer per track, on its capture thread. Edge cases: a write that fails (disk
// full, file system gone) makes every later call do nothing and `failure` give the reason (the pages written
// before stay readable and the recovery finalises them); `finish` ends the stream properly and is harmless
// after a failure or a second time.
#pragma once

#include "Support/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

struct OggOpusEnc;

namespace AudioEngine {

class OpusTrackWriter {
public:
    static constexpr std::uint32_t sampleRate = 48000;

    struct Options {
        int bitrate = 20000;
        std::uint32_t pageEverySamples = sampleRate; // one second
        std::uint32_t syncEverySamples = 5 * sampleRate;
        /// Written as the stream's title comment ("Vellmora: microphone").
        std::string title;
    };

    /// Creates the file (and its folder); throws std::system_error naming the file when it cannot.
    OpusTrackWriter(std::filesystem::path file, Options options);
    ~OpusTrackWriter();
    OpusTrackWriter(const OpusTrackWriter&) = delete;
    OpusTrackWriter& operator=(const OpusTrackWriter&) = delete;

    /// Encodes the samples; false once writing has failed.
    bool write(std::span<const std::int16_t> samples);
    bool writeSilence(std::uint64_t count);
    /// Ends the stream and closes the file; false when anything failed.
    bool finish();

    const std::filesystem::path& file() const { return file_; }
    std::uint64_t samplesWritten() const { return samples_; }
    /// Why writing stopped: "No space left on device"; nothing while all is well.
    const std::optional<std::string>& failure() const { return failure_; }
    std::uint64_t bytesWritten() const { return bytes_; }

private:
    static int writePage(void* self, const unsigned char* data, std::int32_t length);
    static int closeFile(void* self);
    void fail(std::string reason);

    std::filesystem::path file_;
    Options options_;
    Support::FileDescriptor descriptor_;
    OggOpusEnc* encoder_ = nullptr;
    std::uint64_t samples_ = 0;
    std::uint64_t samplesAtSync_ = 0;
    std::uint64_t bytes_ = 0;
    std::optional<std::string> failure_;
    bool finished_ = false;
};

} // namespace AudioEngine

// Reading an audio file back the way another program would, through libsndfile: the capture tests check
// that what was recorded plays, and hear what is in it.
#pragma once

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace Fakes {

struct SoundFile {
    int sampleRate = 0;
    int channels = 0;
    /// The first channel, from -1 to 1.
    std::vector<float> samples;

    double seconds() const { return sampleRate ? double(samples.size()) / sampleRate : 0; }

    static std::optional<SoundFile> read(const std::filesystem::path& file) {
        SF_INFO info{};
        SNDFILE* sound = sf_open(file.c_str(), SFM_READ, &info);
        if (!sound) {
            return std::nullopt;
        }
        SoundFile result{info.samplerate, info.channels, {}};
        std::vector<float> frame(size_t(info.channels) * 4096);
        for (;;) {
            auto got = sf_readf_float(sound, frame.data(), 4096);
            if (got <= 0) {
                break;
            }
            for (sf_count_t i = 0; i < got; ++i) {
                result.samples.push_back(frame[size_t(i) * size_t(info.channels)]);
            }
        }
        sf_close(sound);
        return result;
    }

    /// Root-mean-square level of samples [from, to) in dB relative to full scale (-200 for silence).
    double decibels(size_t from, size_t to) const {
        to = std::min(to, samples.size());
        double sum = 0;
        for (size_t i = from; i < to; ++i) {
            sum += double(samples[i]) * samples[i];
        }
        double rms = to > from ? std::sqrt(sum / double(to - from)) : 0;
        return rms > 0 ? 20 * std::log10(rms) : -200;
    }
    /// The first sample louder than `threshold` (linear), or nothing.
    std::optional<size_t> firstAbove(float threshold, size_t from = 0) const {
        for (size_t i = from; i < samples.size(); ++i) {
            if (std::fabs(samples[i]) > threshold) {
                return i;
            }
        }
        return std::nullopt;
    }
};

} // namespace Fakes

// How loud a track is, and whether it has been silent since the recording began: the level check of the
// two-track capture. `TrackLevel` is a value type fed 16-bit samples as they arrive (from the capture
// thread, or from a test with made-up samples); it counts time in samples, never on a clock, so that a test
// can pass 20 seconds of silence at once.
//
// Silence means no sample above `silenceBelowDecibels` (a muted microphone or an output that plays nothing
// gives exact zeros; a live microphone's hiss is well above -70 dBFS). `silenceReport` becomes true once,
// when the first `window` of samples was all silence; sound that comes before the window ends cancels the
// report for the rest of the recording. Edge cases: no samples at all give -infinity decibels; a window of
// zero samples reports nothing.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace AudioEngine {

class TrackLevel {
public:
    static constexpr double silenceBelowDecibels = -70;

    TrackLevel(std::uint32_t sampleRate, std::uint64_t windowSamples)
        : sampleRate_(sampleRate), window_(windowSamples) {}

    /// Takes the next samples; gives true exactly once, when they complete a silent first window.
    bool add(std::span<const std::int16_t> samples);
    /// Takes `count` samples of silence (a gap filled while a device was changing).
    bool addSilence(std::uint64_t count);

    /// The loudest sample so far, in dB relative to full scale (0 is the loudest possible).
    double peakDecibels() const;
    /// The root-mean-square level of everything so far, in dB relative to full scale.
    double averageDecibels() const;
    std::uint64_t samples() const { return samples_; }
    double seconds() const { return sampleRate_ ? double(samples_) / sampleRate_ : 0; }
    bool heardSomething() const { return heard_; }

    /// A level as people read it: "-23 dBFS", or "silence" below the silence threshold.
    static std::string describe(double decibels);
    static double decibels(double amplitude);

private:
    bool checkWindow();

    std::uint32_t sampleRate_;
    std::uint64_t window_;
    std::uint64_t samples_ = 0;
    double sumOfSquares_ = 0;
    int peak_ = 0;
    bool heard_ = false;
    bool reported_ = false;
};

} // namespace AudioEngine

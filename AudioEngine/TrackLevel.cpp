#include "AudioEngine/TrackLevel.h"

#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <limits>

namespace AudioEngine {

double TrackLevel::decibels(double amplitude) {
    if (amplitude <= 0) {
        return -std::numeric_limits<double>::infinity();
    }
    return 20 * std::log10(amplitude / 32768.0);
}

bool TrackLevel::add(std::span<const std::int16_t> samples) {
    const double threshold = 32768.0 * std::pow(10.0, silenceBelowDecibels / 20);
    for (auto sample : samples) {
        int magnitude = std::abs(int(sample));
        peak_ = std::max(peak_, magnitude);
        sumOfSquares_ += double(sample) * double(sample);
        if (!heard_ && magnitude > threshold && samples_ < window_) {
            heard_ = true;
        }
        ++samples_;
    }
    return checkWindow();
}

bool TrackLevel::addSilence(std::uint64_t count) {
    samples_ += count;
    return checkWindow();
}

bool TrackLevel::checkWindow() {
    if (reported_ || heard_ || window_ == 0 || samples_ < window_) {
        return false;
    }
    reported_ = true;
    return true;
}

double TrackLevel::peakDecibels() const {
    return decibels(peak_);
}

double TrackLevel::averageDecibels() const {
    return samples_ ? decibels(std::sqrt(sumOfSquares_ / double(samples_))) : decibels(0);
}

std::string TrackLevel::describe(double decibels) {
    if (!(decibels >= silenceBelowDecibels)) {
        return "silence";
    }
    return fmt::format("{:.0f} dBFS", decibels);
}

} // namespace AudioEngine

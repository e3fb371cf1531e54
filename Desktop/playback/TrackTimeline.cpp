#include "Desktop/playback/TrackTimeline.h"

#include <cmath>

namespace Desktop::TrackTimeline {

std::optional<double> trackPosition(double recordingTime, double offset) {
    if (recordingTime < offset) {
        return std::nullopt;
    }
    return recordingTime - offset;
}

double recordingTime(double position, double offset) {
    return position + offset;
}

std::optional<double> resync(double recordingTime, double offset, double actualPosition) {
    auto expected = trackPosition(recordingTime, offset);
    if (!expected || std::abs(*expected - actualPosition) <= driftTolerance) {
        return std::nullopt;
    }
    return expected;
}

} // namespace Desktop::TrackTimeline

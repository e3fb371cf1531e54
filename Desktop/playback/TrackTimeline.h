// How the tracks of a two-track recording line up while they play together: each track starts `offset`
// seconds into the recording, so at recording time t a track plays at t − offset (and is silent before its
// start); the recording time is read from the leading track; a following track that drifts from where it
// should be by more than `driftTolerance` is moved back into place. Pure; used by `TwoTrackPlayer`.
#pragma once

#include <optional>

namespace Desktop::TrackTimeline {

inline constexpr double driftTolerance = 0.25;

/// Where a track that starts at `offset` plays at recording time `t`, or nothing before its start.
std::optional<double> trackPosition(double recordingTime, double offset);
/// The recording time when the track that starts at `offset` plays at `position`.
double recordingTime(double position, double offset);
/// Where to move a following track, or nothing when it is close enough (or has not started yet).
std::optional<double> resync(double recordingTime, double offset, double actualPosition);

} // namespace Desktop::TrackTimeline

// Audio (and screen) capture as the host sees it: start, then stop and finalise the files. The host's
// start and stop operations, run through the recording request gate, call these and report the phase
// events; nothing else starts or stops capture.
//
// `start` gives a session or throws `CaptureError` with a sentence for the user (no microphone, tool
// missing). `stop` finalises the files of the running session and gives them; it is harmless when nothing
// runs (gives nothing). Main loop only; engines do their blocking work off the loop.
#pragma once

#include "Support/Errors.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace AudioEngine {

struct CaptureError : Support::UserFacingError {
    using Support::UserFacingError::UserFacingError;
};

struct CaptureSession {
    std::string recordingId;
    Support::Date startedAt;
    std::filesystem::path audioFile;
};

/// One finished audio track. Two tracks are recorded in step: the microphone (the user) and what the
/// computer played (the other people in the call).
struct CapturedTrack {
    std::filesystem::path file;
    bool isMicrophone = false;
    /// From the start of the recording to the track's first sample.
    Support::Duration offset{};

    bool operator==(const CapturedTrack&) const = default;
};

struct CapturedRecording {
    std::string recordingId;
    Support::Date startedAt;
    double durationSeconds = 0;
    /// The file a player opens: the first track, or the one mixed file of an engine with one track.
    std::filesystem::path audioFile;
    std::optional<std::filesystem::path> videoFile;
    /// Every track, microphone first; empty for an engine that records one mixed file.
    std::vector<CapturedTrack> tracks = {};
    /// From the start of the recording to the screen video's first frame (with `videoFile`).
    std::optional<Support::Duration> videoOffset = {};
};

class CaptureEngine {
public:
    virtual ~CaptureEngine() = default;
    /// A short name for logs and the status line ("simulated", "PipeWire").
    virtual std::string name() const = 0;
    virtual Support::Task<CaptureSession> start(std::filesystem::path folder) = 0;
    virtual Support::Task<std::optional<CapturedRecording>> stop() = 0;
    virtual bool isCapturing() const = 0;
};

} // namespace AudioEngine

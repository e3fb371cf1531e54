// Screen capture beside the audio of a recording: started right after the audio tracks and stopped right
// after them by `ScreenRecordingCapture`, its file written beside the audio file with the same name and a
// video extension (where the slides reader and the video expiry look for it).
//
// `start` throws `CaptureError` with a sentence for the user (no X display, ffmpeg missing, the screen-share
// dialog refused); the audio recording goes on without video then. `stop` ends the capture and gives the file
// and the time from the start of the recording to the video's first frame; it is harmless when nothing runs.
// `runningVideo` gives the same while the capture runs, so that a crash does not lose the offset.
// Main loop only; blocking work goes to the pool.
#pragma once

#include "AudioEngine/CaptureEngine.h"

namespace AudioEngine {

struct CapturedVideo {
    std::filesystem::path file;
    /// From the start of the recording to the video's first frame.
    Support::Duration offset{};

    bool operator==(const CapturedVideo&) const = default;
};

class ScreenCaptureEngine {
public:
    virtual ~ScreenCaptureEngine() = default;
    /// A short name for logs ("X11", "screen-share portal").
    virtual std::string name() const = 0;
    /// Starts capturing into `file`; `recordingStart` is when the audio started.
    virtual Support::Task<> start(std::filesystem::path file, Support::Date recordingStart) = 0;
    virtual Support::Task<std::optional<CapturedVideo>> stop() = 0;
    virtual bool isCapturing() const = 0;
    /// The file being written and its offset, while capturing (noted for the crash recovery).
    virtual std::optional<CapturedVideo> runningVideo() const = 0;
};

} // namespace AudioEngine

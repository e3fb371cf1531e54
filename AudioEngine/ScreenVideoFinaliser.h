// Turns a screen video as the capture left it into one a player seeks in: the capture writes Matroska
// progressively (clusters of a few seconds, no index), so a killed capture still leaves a playable file up
// to its last cluster; finalising copies the streams into a fresh file with its duration and index
// (`ffmpeg -c copy`, no re-encoding, a second or two for an hour at one frame per second) and renames it
// over the original. The copy is written beside the file and renamed, so a failure leaves the original as it
// was. Used by `ScreenRecordingCapture` after each capture and by crash recovery for a video left behind.
//
// Edge cases: a missing or empty file, or one without a single frame, is left alone and reported as not
// finalised; `finalise` marks the video as being assembled for as long as it is rewritten, through the
// `MarkAssembling` its caller gives (the host's `Database::VideoMuxActivity`), so the video expiry never
// deletes it half-way.
#pragma once

#include "Support/Signal.h"
#include "Support/Task.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace AudioEngine {

struct ScreenVideoFinaliser {
    /// Marks a video as being assembled until the returned subscription ends.
    using MarkAssembling = std::function<Support::Subscription(const std::filesystem::path&)>;

    /// Where the screen video of the recording whose audio is `audioFile` goes: same folder and name,
    /// ".mkv".
    static std::filesystem::path videoFileFor(const std::filesystem::path& audioFile);

    /// Rewrites `video` with its index on the calling thread; nothing when it worked, else why not.
    static std::optional<std::string> finaliseBlocking(const std::filesystem::path& ffmpeg,
                                                       const std::filesystem::path& video);
    /// The same on the blocking-work pool, the video marked through `mark` (if given) meanwhile.
    static Support::Task<std::optional<std::string>>
    finalise(std::filesystem::path ffmpeg, std::filesystem::path video, MarkAssembling mark);
};

} // namespace AudioEngine

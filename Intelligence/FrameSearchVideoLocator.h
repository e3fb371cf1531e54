// Where a recording's screen video lies, from its recording (audio) file: the capture writes the video
// beside the audio, with the same name and a video extension ("call.m4a" -> "call.mp4"). When a video with
// another known extension (".mkv", ".webm", ".mov") is there instead, that one is returned.
#pragma once

#include <filesystem>
#include <optional>

namespace Intelligence {

struct FrameSearchVideoLocator {
    /// The video beside `recordingFile`; nothing when the recording file has no name or is itself the
    /// only candidate (a recording file that is a video must never be taken for a separate video).
    static std::optional<std::filesystem::path> videoURL(const std::filesystem::path& recordingFile);
};

} // namespace Intelligence

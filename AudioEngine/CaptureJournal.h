// The note a recording in progress leaves next to its tracks ("<id>.capture.json" in the recordings
// folder): which recording it is, when it started and which files hold which track. Written atomically when
// the recording starts and removed when it has been finalised, so that a note found at start-up means the
// program ended during a recording (`RecordingRecovery` finishes it).
//
// With screen recording on, the screen video is added to the note once its capture runs (`noteVideo`), with
// its offset to the audio, so that a recovered recording gets its video in step with the audio.
//
// `parse` gives nothing for text that is not such a note (damaged, or of a newer version without the
// fields); track and video files are names inside the recordings folder, never paths elsewhere. A damaged
// video entry is left out and the tracks kept: the audio is never lost for the sake of the video.
#pragma once

#include "AudioEngine/CaptureEngine.h"

#include <optional>
#include <string>
#include <string_view>

namespace AudioEngine {

struct CaptureJournal {
    static constexpr const char* suffix = ".capture.json";

    std::string recordingId;
    Support::Date startedAt;
    /// Files by name within the folder of the note.
    std::vector<CapturedTrack> tracks;
    /// The screen video being captured, by name within the folder, and from the start of the recording to
    /// its first frame.
    std::optional<std::filesystem::path> videoFile = {};
    Support::Duration videoOffset{};

    bool operator==(const CaptureJournal&) const = default;

    std::string serialise() const;
    static std::optional<CaptureJournal> parse(std::string_view text);
    /// The note's file for a recording in `folder`.
    static std::filesystem::path fileFor(const std::filesystem::path& folder, const std::string& recordingId);
    /// Adds the video to the note of a recording in `folder` (written atomically). Blocking. False when
    /// the recording has no note (its engine keeps none, or it has ended) or the note cannot be read;
    /// throws std::system_error when it cannot be written.
    static bool noteVideo(const std::filesystem::path& folder, const std::string& recordingId,
                          const std::filesystem::path& videoFile, Support::Duration offset);
};

} // namespace AudioEngine

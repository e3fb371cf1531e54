// The note a recording in progress leaves next to its tracks ("<id>.capture.json" in the recordings
// folder): which recording it is, when it started and which files hold which track. Written atomically when
// the recording starts and removed when it has been finalised, so that a note found at start-up means the
// program ended during a recording (`RecordingRecovery` finishes it).
//
// `parse` gives nothing for text that is not such a note (damaged, or of a newer version without the
// fields); track files are names inside the recordings folder, never paths elsewhere.
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

    bool operator==(const CaptureJournal&) const = default;

    std::string serialise() const;
    static std::optional<CaptureJournal> parse(std::string_view text);
    /// The note's file for a recording in `folder`.
    static std::filesystem::path fileFor(const std::filesystem::path& folder, const std::string& recordingId);
};

} // namespace AudioEngine

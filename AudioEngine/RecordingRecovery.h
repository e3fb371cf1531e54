// Finishing recordings that were interrupted (the program was killed, crashed, or the power went): at start
// the host calls `recover` on the recordings folder before any capture begins; every note a recording left
// there (`CaptureJournal`) names its track files, which are finalised in place (`OggOpusRepair`, written
// atomically) and given back as finished recordings for the library, with the screen video the note names
// (given its index, and its offset to the audio); the note is then removed so that the recording is
// recovered once. `summary` is the one line the host shows.
//
// Blocking (file work): run it through `BlockingWork::run`. Edge cases: a note that cannot be read is
// reported and left alone; a track file that is missing or holds no audio is left out; a recording none of
// whose tracks holds audio is reported and its note removed, its files left as they are; files that ended
// properly (the program ended between finalising and removing the note) are kept unchanged.
#pragma once

#include "AudioEngine/CaptureEngine.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace AudioEngine {

class RecordingRecovery {
public:
    struct Result {
        std::vector<CapturedRecording> recovered;
        /// One sentence each, for the log and the terminal.
        std::vector<std::string> problems;
    };

    static Result recover(const std::filesystem::path& folder);
    /// Finishes one track in place, needing no free space (the repaired file is never longer, and differs
    /// only from its last page on): for a disk that is full. Throws std::system_error when the file cannot
    /// be written; false when it holds no audio.
    static bool finishInPlace(const std::filesystem::path& track);
    /// "Vellmora finished a recording that was interrupted (4 min 12 s) and added it to the library." and
    /// the like; nothing when nothing was recovered. `kept` names where it went ("the library").
    static std::optional<std::string> summary(const Result& result, const std::string& kept = "the library");
    /// "4 min 12 s", "38 s", "1 h 02 min".
    static std::string length(double seconds);
};

} // namespace AudioEngine

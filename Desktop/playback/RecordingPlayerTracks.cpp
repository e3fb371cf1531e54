#include "Desktop/playback/RecordingPlayer.h"

namespace Desktop::RecordingPlayer {

std::vector<Track> tracks(const Database::DatabaseManager::Recording& recording) {
    std::vector<Track> out;
    std::error_code ignored;
    if (recording.tracks.empty()) {
        if (!recording.fileURL.empty() && std::filesystem::exists(recording.fileURL, ignored)) {
            out.push_back({recording.fileURL, 0});
        }
        return out;
    }
    for (const auto& track : recording.tracks) {
        if (std::filesystem::exists(track.file, ignored)) {
            out.push_back({track.file, track.offset});
        }
    }
    return out;
}

} // namespace Desktop::RecordingPlayer

// Built instead of TwoTrackPlayer.cpp when Qt Multimedia is not installed.
#include "Desktop/playback/RecordingPlayer.h"

namespace Desktop::RecordingPlayer {

std::unique_ptr<PlaybackSource> make(const Database::DatabaseManager::Recording&) {
    return std::make_unique<NoPlayback>(noMultimediaText);
}

} // namespace Desktop::RecordingPlayer

// The player a recording's page gets: both tracks of a two-track recording played together (the
// microphone and what the computer played, each at its offset), or the one audio file of a single-file
// recording. Built with Qt Multimedia (`TwoTrackPlayer`); a build without it, a system without a Qt
// Multimedia backend, or a recording whose files are gone gets a `NoPlayback` saying so.
#pragma once

#include "Database/DatabaseManager.h"
#include "Desktop/playback/PlaybackSource.h"

#include <memory>

namespace Desktop::RecordingPlayer {

std::unique_ptr<PlaybackSource> make(const Database::DatabaseManager::Recording& recording);

/// The files to play, each with the second of the recording it starts at; empty when none is there.
struct Track {
    std::filesystem::path file;
    double offset = 0;
};
std::vector<Track> tracks(const Database::DatabaseManager::Recording& recording);

inline constexpr const char* missingFilesText = "The recording's audio files are not there any more.";
inline constexpr const char* noMultimediaText =
    "Playback needs Qt Multimedia, which this build of Vellmora was made without.";
inline constexpr const char* noBackendText =
    "Playback is not available: Qt Multimedia found no media backend (install gstreamer1.0-plugins-base "
    "and gstreamer1.0-plugins-good).";

} // namespace Desktop::RecordingPlayer

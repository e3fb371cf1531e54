// What the transcription commands share (`transcribe`, `transcription test`, `library transcribe`, audio
// `library import`): the tracks named by files on the command line, running the configured engine over
// them in the command's own loop, and the test audio.
#pragma once

#include "App/cli/AICommandSupport.h"
#include "Database/DatabaseManager.h"
#include "Intelligence/TranscriptionSettings.h"

#include <functional>
#include <string>
#include <vector>

namespace App::TranscriptionCli {

/// Audio file names the import and the transcribe commands take as audio (by extension).
bool isAudioFile(const std::string& file);

/// One file: the other side's track (labelled "Speaker"); two: the microphone's, then the other side's.
std::vector<Database::DatabaseManager::RecordingTrack> tracksForFiles(const std::vector<std::string>& files);

/// The engine's segments of all tracks, assembled like the queue does. Throws the engine's
/// `TranscriptionError` as a `CommandFailed`.
std::vector<Database::DatabaseManager::TranscriptSegment>
transcribeTracks(AICommandEnvironment& env, const Intelligence::TranscriptionSettings& settings,
                 const std::vector<Database::DatabaseManager::RecordingTrack>& tracks,
                 const std::function<void(const std::string&)>& progress);

/// `library transcribe`: queues the recording and runs the queue in this process until it is done or
/// waits (another process holds the queue: then it is left queued for that one).
void transcribeRecording(CliContext& ctx, const std::string& database, Database::RecordingId id, bool force,
                         bool asJson);

/// `library import` of audio files: a recording whose tracks are the files, queued for transcription.
void importAudio(CliContext& ctx, const std::string& database, const std::vector<std::string>& files,
                 bool asJson);

/// A second of silence as a WAV file in the cache folder.
std::filesystem::path writeTestAudio();

} // namespace App::TranscriptionCli

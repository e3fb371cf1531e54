// Turning the engines' segments of a recording's tracks into the transcript the library stores: every text
// cleaned with `cleanWhisperTokens`, empty ones dropped, the microphone's echo of the other side dropped,
// both tracks merged in start order with `isFromMicrophone` from the track. Pure; used by
// `TranscriptionQueue` and `vellmora transcribe`.
//
// Echo: with loudspeakers the microphone also hears the others, so its engine writes their words again at
// about the same time. A microphone segment is an echo when at least 60% of its words (lower-cased, without
// punctuation) are words the other track says in segments overlapping it (widened by `echoSlack` seconds
// on each side). A segment of the user's own words with a remote word or two in it stays. Equal starts keep
// the other side first (the speaker the echo follows).
#pragma once

#include "Database/DatabaseManager.h"
#include "Intelligence/SpeechRecognizer.h"

#include <vector>

namespace UI::TranscriptAssembly {

inline constexpr double echoSlack = 1.0;
inline constexpr double echoWordShare = 0.6;

struct TrackSegments {
    bool isMicrophone = false;
    std::vector<Intelligence::SpeechSegment> segments;
};

/// Whether `microphone` repeats what `others` say at the same time.
bool isEcho(const Intelligence::SpeechSegment& microphone,
            const std::vector<Intelligence::SpeechSegment>& others);

/// The transcript to store (ids and recording ids left 0).
std::vector<Database::DatabaseManager::TranscriptSegment> assemble(const std::vector<TrackSegments>& tracks);

} // namespace UI::TranscriptAssembly

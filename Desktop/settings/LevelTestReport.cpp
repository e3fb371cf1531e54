#include "Desktop/settings/LevelTestReport.h"

#include "AudioEngine/TrackLevel.h"

namespace Desktop::LevelTestReport {

std::vector<std::string> lines(const std::vector<AudioEngine::PulseCapture::TrackReport>& tracks) {
    using AudioEngine::TrackLevel;
    std::vector<std::string> out;
    bool silent = tracks.empty();
    for (const auto& track : tracks) {
        bool heard = track.peakDecibels >= TrackLevel::silenceBelowDecibels;
        silent = silent || !heard;
        out.push_back(std::string(track.isMicrophone ? "Your microphone" : "The call") + " (" + track.device +
                      "): peak " + TrackLevel::describe(track.peakDecibels) + ", average " +
                      TrackLevel::describe(track.averageDecibels));
        if (!heard) {
            out.push_back(
                track.isMicrophone
                    ? "Nothing was heard: check the input device."
                    : "Nothing was heard: check the output device, and play something during the test.");
        }
    }
    if (tracks.empty()) {
        out.push_back("Nothing was recorded.");
    } else if (!silent) {
        out.push_back("Both tracks hear sound: recordings will hold you and the others.");
    }
    return out;
}

} // namespace Desktop::LevelTestReport

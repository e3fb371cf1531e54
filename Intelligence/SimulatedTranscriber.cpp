#include "Intelligence/SimulatedTranscriber.h"

#include "Intelligence/AudioPieces.h"
#include "Support/BlockingWork.h"

#include <algorithm>

namespace Intelligence {

const std::vector<SimulatedTranscriber::Line>& SimulatedTranscriber::conversation() {
    static const std::vector<Line> lines = {
        {false, "Hi, thanks for making time. Can you hear me all right?"},
        {true, "Loud and clear. Shall we start with the launch date?"},
        {false, "Yes. Design needs one more week, so the launch moves to the twentieth of March."},
        {true, "That works if marketing gets the final screenshots by the tenth."},
        {false, "I'll ask Priya to send them by the tenth and book the review for the twelfth."},
        {true, "Great. I'll update the release notes and share the plan with the team today."},
        {false, "Perfect. Let's check in again next Tuesday."},
    };
    return lines;
}

std::vector<SpeechSegment> SimulatedTranscriber::lines(bool microphone, double duration, double offset) {
    const auto& script = conversation();
    const double span = std::max(duration, 1.0) / static_cast<double>(script.size());
    std::vector<SpeechSegment> out;
    for (size_t i = 0; i < script.size(); ++i) {
        if (script[i].isMicrophone != microphone) {
            continue;
        }
        const double start = offset + span * static_cast<double>(i);
        out.push_back({start, start + span * 0.9, " " + script[i].text, ""});
    }
    return out;
}

Support::Task<std::vector<SpeechSegment>> SimulatedTranscriber::transcribe(SpeechTrack track, SpeechOptions,
                                                                           Progress progress) {
    const auto file = track.file;
    const double duration =
        co_await Support::BlockingWork::run([file] { return AudioFile(file).duration(); });
    co_await scheduler_.sleepFor(delay_);
    const bool microphone = file.filename().string().find("microphone") != std::string::npos;
    if (progress) {
        progress(1.0);
    }
    co_return lines(microphone, duration, track.offset);
}

} // namespace Intelligence

// The demo's speech engine: it hears nothing but gives the lines of a scripted two-person conversation,
// the user's on the microphone track and the other person's on the track of what the computer played
// (told apart by the file name SimulatedCapture gives them: "...-microphone.wav"). The script's times are
// scaled to the track's length, so a demo recording of any length ends as the whole conversation. Used by
// `vellmora run --demo` when the transcription engine is "simulated".
#pragma once

#include "Intelligence/SpeechRecognizer.h"
#include "Support/Scheduler.h"

namespace Intelligence {

class SimulatedTranscriber final : public SpeechRecognizer {
public:
    struct Line {
        bool isMicrophone;
        std::string text;
    };
    /// The conversation, in order.
    static const std::vector<Line>& conversation();

    explicit SimulatedTranscriber(Support::Scheduler& scheduler,
                                  Support::Duration delay = Support::seconds(1))
        : scheduler_(scheduler), delay_(delay) {}

    std::string name() const override { return "the simulated engine"; }
    Support::Task<std::vector<SpeechSegment>> transcribe(SpeechTrack track, SpeechOptions options,
                                                         Progress progress) override;

    /// The segments of one track of `duration` seconds (pure).
    static std::vector<SpeechSegment> lines(bool microphone, double duration, double offset);

private:
    Support::Scheduler& scheduler_;
    Support::Duration delay_;
};

} // namespace Intelligence

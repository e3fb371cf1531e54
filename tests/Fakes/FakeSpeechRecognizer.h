// A speech engine for queue tests: scripted segments per audio file (offset added like a real engine), a
// scripted failure, and a hold that keeps the next transcription waiting until the test releases it (to
// quit in the middle of one). Counts the tracks it was asked for.
#pragma once

#include "Intelligence/SpeechRecognizer.h"

#include <map>
#include <optional>

namespace Fakes {

class FakeSpeechRecognizer final : public Intelligence::SpeechRecognizer {
public:
    std::map<std::filesystem::path, std::vector<Intelligence::SpeechSegment>> script;
    std::optional<Intelligence::TranscriptionError> failure;
    bool hold = false;
    std::vector<std::filesystem::path> asked;
    std::vector<Intelligence::SpeechOptions> options;
    std::optional<Support::Continuation<void>> held;

    std::string name() const override { return "the fake engine"; }

    Support::Task<std::vector<Intelligence::SpeechSegment>> transcribe(Intelligence::SpeechTrack track,
                                                                       Intelligence::SpeechOptions given,
                                                                       Progress progress) override {
        asked.push_back(track.file);
        options.push_back(given);
        if (hold) {
            co_await Support::withContinuation<void>([this](Support::Continuation<void> c) { held = c; });
        }
        if (failure) {
            throw *failure;
        }
        auto segments = script[track.file];
        for (auto& s : segments) {
            s.start += track.offset;
            s.end += track.offset;
        }
        if (progress) {
            progress(1.0);
        }
        co_return segments;
    }

    void release() {
        hold = false;
        if (held) {
            auto c = *held;
            held.reset();
            c.resume();
        }
    }
};

} // namespace Fakes

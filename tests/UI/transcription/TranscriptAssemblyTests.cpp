// Merging the tracks' segments into the stored transcript: cleaning, order, flags and the microphone's echo.
#include "UI/transcription/TranscriptAssembly.h"

#include <gtest/gtest.h>

using namespace UI;
using Intelligence::SpeechSegment;
using Stored = Database::DatabaseManager::TranscriptSegment;

namespace {
Stored stored(double start, double end, std::string text, bool mic, std::string speaker = "") {
    Stored s;
    s.startTime = start;
    s.endTime = end;
    s.text = std::move(text);
    s.speaker = std::move(speaker);
    s.isFromMicrophone = mic;
    return s;
}
} // namespace

TEST(TranscriptAssembly, MergesBothTracksInStartOrderWithTheMicrophoneFlagCleanedAndWithoutEmptyText) {
    auto out = TranscriptAssembly::assemble({
        {true,
         {{0.5, 2, " Hi everyone, <|en|> thanks for joining.", ""},
          {6, 7, " [BLANK_AUDIO]", ""},
          {8, 9, "Sounds good to me.", ""}}},
        {false,
         {{2.5, 5, " Thanks.  Let's  start with the budget.", "Speaker 1"}, {5, 6, "<|nocaptions|>", ""}}},
    });
    EXPECT_EQ(out,
              (std::vector<Stored>{stored(0.5, 2, "Hi everyone, thanks for joining.", true),
                                   stored(2.5, 5, "Thanks. Let's start with the budget.", false, "Speaker 1"),
                                   stored(8, 9, "Sounds good to me.", true)}));
}

TEST(TranscriptAssembly, DropsTheMicrophonesEchoOfTheOtherSideButKeepsTheUsersOwnWords) {
    const std::vector<SpeechSegment> remote = {
        {10.0, 14.0, " The launch moves to the second week of March.", ""}, {20.0, 22.0, " Yes.", ""}};
    struct Case {
        const char* name;
        SpeechSegment microphone;
        bool echo;
    };
    const Case cases[] = {
        // The remote sentence mixed into the microphone at -10 dB, 30 ms late: the engine hears it again.
        {"the remote sentence 30 ms late",
         {10.03, 14.03, " The launch moves to the second week of March.", ""},
         true},
        {"a shorter, partly misheard echo", {10.5, 13.0, "launch moves to the second weak of", ""}, true},
        {"the same words long after",
         {40.0, 44.0, "The launch moves to the second week of March.", ""},
         false},
        {"the user's own answer at the same time",
         {12.0, 14.0, "I think we should wait for the review.", ""},
         false},
        {"the user's sentence with one remote word",
         {10.0, 13.0, "Okay but who signs off on March?", ""},
         false},
        {"a short agreement echoed", {20.1, 21.0, "Yes.", ""}, true},
        {"no words", {10.0, 11.0, "...", ""}, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(TranscriptAssembly::isEcho(c.microphone, remote), c.echo) << c.name;
    }
    auto out = TranscriptAssembly::assemble({{true, {cases[0].microphone}}, {false, remote}});
    ASSERT_EQ(out.size(), 2u) << "the remote sentence appears once";
    EXPECT_FALSE(out[0].isFromMicrophone);
    EXPECT_EQ(out[0].text, "The launch moves to the second week of March.");
}

TEST(TranscriptAssembly, PutsTheOtherSideFirstAtEqualStarts) {
    auto out =
        TranscriptAssembly::assemble({{true, {{1, 2, "Mine.", ""}}}, {false, {{1, 2, "Theirs.", ""}}}});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].text, "Theirs.");
    EXPECT_EQ(out[1].text, "Mine.");
}

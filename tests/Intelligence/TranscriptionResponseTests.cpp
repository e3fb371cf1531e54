// Reading server answers and whisper-cli's JSON into segments, and the server's own words out of errors.
#include "Intelligence/TranscriptionResponse.h"

#include <gtest/gtest.h>

using namespace Intelligence;
namespace R = Intelligence::TranscriptionResponse;

TEST(TranscriptionResponse, ReadsSegmentsFromEachAnswerFormat) {
    struct Case {
        const char* name;
        const char* body;
        std::optional<std::vector<SpeechSegment>> expected;
    };
    const Case cases[] = {
        {"verbose",
         R"({"text":"a b","segments":[{"start":0.5,"end":1,"text":"a"},{"start":1,"end":2,"text":"b"}]})",
         std::vector<SpeechSegment>{{0.5, 1, "a", ""}, {1, 2, "b", ""}}},
        {"diarized", R"({"segments":[{"start":0,"end":1,"text":"hi","speaker":" A "}]})",
         std::vector<SpeechSegment>{{0, 1, "hi", "A"}}},
        {"json only", R"({"text":"all of it"})", std::vector<SpeechSegment>{{0, 7, "all of it", ""}}},
        {"empty segments fall back to the text", R"({"text":"t","segments":[]})",
         std::vector<SpeechSegment>{{0, 7, "t", ""}}},
        {"missing and reversed times",
         R"({"segments":[{"start":2,"end":1,"text":"x"},{"text":"y"},{"start":-3,"end":"4","text":5}]})",
         std::vector<SpeechSegment>{{2, 2, "x", ""}, {2, 2, "y", ""}, {0, 0, "5", ""}}},
        {"not json", "Internal error", std::nullopt},
        {"no text", R"({"task":"transcribe"})", std::nullopt},
        {"an array", "[1,2]", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(R::parseServerAnswer(c.body, 7), c.expected) << c.name;
    }
}

TEST(TranscriptionResponse, FindsTheServersWordsInEitherErrorShape) {
    EXPECT_EQ(R::errorMessage(R"({"error":{"message":" Invalid file format. ","type":"x"}})"),
              "Invalid file format.");
    EXPECT_EQ(R::errorMessage(R"({"error":"model not loaded"})"), "model not loaded");
    EXPECT_EQ(R::errorMessage(R"({"detail":"Not Found"})"), "Not Found");
    EXPECT_EQ(R::errorMessage(R"({"detail":[{"msg":"field required"}]})"), "field required");
    EXPECT_EQ(R::errorMessage("upstream timed out"), "upstream timed out");
    EXPECT_EQ(R::errorMessage("<html><body>502</body></html>"), "");
    EXPECT_EQ(R::errorMessage(""), "");
    EXPECT_EQ(R::errorMessage(R"({"error":{"message":")" + std::string(400, 'x') + "\"}}").size(), 300u);
}

TEST(TranscriptionResponse, ReadsWhisperCliOutputInMillisecondsOrClockTimes) {
    const char* output = R"({
      "systeminfo": "AVX = 1", "model": {"type": "base"},
      "params": {"model": "models/ggml-base.en.bin", "language": "en", "translate": false},
      "result": {"language": "en"},
      "transcription": [
        {"timestamps": {"from": "00:00:00,000", "to": "00:00:02,500"}, "offsets": {"from": 0, "to": 2500}, "text": " Good morning."},
        {"timestamps": {"from": "00:01:02,500", "to": "00:01:04,000"}, "text": " [BLANK_AUDIO]"}
      ]})";
    EXPECT_EQ(R::parseWhisperCliOutput(output),
              (std::vector<SpeechSegment>{{0, 2.5, " Good morning.", ""}, {62.5, 64, " [BLANK_AUDIO]", ""}}));
    EXPECT_EQ(R::parseWhisperCliOutput(R"({"transcription":[]})"), std::vector<SpeechSegment>{});
    EXPECT_EQ(R::parseWhisperCliOutput(R"({"text":"x"})"), std::nullopt);
    EXPECT_EQ(R::parseWhisperCliOutput("{"), std::nullopt);
}

// Cutting a track into pieces at its silences, and writing a piece as 16 kHz WAV from any sample rate.
#include "Fakes/AudioFiles.h"
#include "Intelligence/AudioPieces.h"
#include "Intelligence/SpeechRecognizer.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Intelligence;
namespace Audio = Fakes::AudioFiles;

TEST(AudioPieces, PlansPiecesThatCutInTheQuietestWindowOfEachPiecesLastQuarter) {
    struct Case {
        const char* name;
        std::vector<float> energies; // windows of 10 frames
        std::int64_t total;
        std::int64_t maxFrames;
        std::vector<AudioPiece> expected;
    };
    const std::vector<float> loud(20, 1.0f);
    std::vector<float> quietAt8 = loud;
    quietAt8[8] = 0.01f;
    std::vector<float> quietEarly = loud;
    quietEarly[2] = 0.0f; // before the last quarter: not a cut
    const Case cases[] = {
        {"nothing", {}, 0, 100, {}},
        {"shorter than a piece", loud, 90, 100, {{0, 90}}},
        {"exactly a piece", loud, 100, 100, {{0, 100}}},
        {"a silence in the last quarter", quietAt8, 200, 100, {{0, 85}, {85, 165}, {165, 200}}},
        {"no silence: the first window of the last quarter",
         loud,
         200,
         100,
         {{0, 75 + 10}, {85, 165}, {165, 200}}},
        {"a silence too early is not used", quietEarly, 150, 100, {{0, 85}, {85, 150}}},
        {"no energies at all: cut at the limit", {}, 250, 100, {{0, 100}, {100, 200}, {200, 250}}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AudioPieces::planFromEnergies(c.energies, 10, c.total, c.maxFrames), c.expected) << c.name;
    }
    EXPECT_EQ(AudioPieces::planRange(quietAt8, 10, 50, 200, 60),
              (std::vector<AudioPiece>{{50, 105}, {105, 155}, {155, 200}}));
}

TEST(AudioPieces, WritesA48kHzStereoOrAn8kHzTrackAs16kHzMonoWavOfTheSameLength) {
    const auto folder =
        std::filesystem::temp_directory_path() / ("vellmora-audio-pieces-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    for (int rate : {48000, 44100, 16000, 8000}) {
        const auto path = folder / ("tone-" + std::to_string(rate) + ".wav");
        Audio::writeWav(path, {{1.5, 0.5}, {0.5, 0}}, rate);
        AudioFile file(path);
        EXPECT_EQ(file.sampleRate(), rate);
        EXPECT_NEAR(file.duration(), 2.0, 1e-3);
        auto wav = AudioPieces::wav16k(file, {0, file.frames()});
        EXPECT_NEAR(static_cast<double>(wav.size()), 44 + 2 * 32000, 2) << rate; // 8 kHz: one sample short
        EXPECT_EQ(wav.substr(0, 4), "RIFF");
        // The silent last half second stays silent and the tone keeps its loudness.
        const auto sample = [&wav](size_t i) {
            return static_cast<std::int16_t>(static_cast<unsigned char>(wav[44 + 2 * i]) |
                                             (static_cast<unsigned char>(wav[45 + 2 * i]) << 8));
        };
        EXPECT_EQ(sample(31990), 0) << rate;
        int loudest = 0;
        for (size_t i = 0; i < 16000; ++i) {
            loudest = std::max(loudest, std::abs(static_cast<int>(sample(i))));
        }
        EXPECT_GT(loudest, 12000) << rate;
        auto pieces = AudioPieces::plan(file, file.frames() * 4 / 5);
        ASSERT_EQ(pieces.size(), 2u);
        EXPECT_NEAR(static_cast<double>(pieces[0].end) / rate, 1.55, 0.001) << "cut inside the silence";
    }
    std::filesystem::remove_all(folder);
}

TEST(AudioPieces, RefusesAFileThatIsNotAudioWithASentence) {
    const auto path =
        std::filesystem::temp_directory_path() / ("vellmora-not-audio-" + std::to_string(::getpid()));
    { std::ofstream(path) << "hello"; }
    try {
        AudioFile file(path);
        FAIL() << "a text file was read as audio";
    } catch (const TranscriptionError& e) {
        EXPECT_EQ(e.description().rfind("The audio file " + path.string() + " cannot be read", 0), 0u);
        EXPECT_FALSE(e.retryLater());
    }
    std::filesystem::remove(path);
}

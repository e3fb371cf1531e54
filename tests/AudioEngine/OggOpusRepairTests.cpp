#include "AudioEngine/OggOpusRepair.h"
#include "AudioEngine/OpusTrackWriter.h"
#include "Fakes/ScriptFolder.h"
#include "Fakes/SoundFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <vector>

using AudioEngine::OggOpusRepair;
using AudioEngine::OpusTrackWriter;

namespace {

std::vector<std::int16_t> voiceLike(size_t count) {
    std::vector<std::int16_t> samples(count);
    for (size_t i = 0; i < count; ++i) {
        double t = double(i) / 48000;
        samples[i] =
            std::int16_t(8000 * std::sin(2 * M_PI * 220 * t) * (0.6 + 0.4 * std::sin(2 * M_PI * 3 * t)));
    }
    return samples;
}

std::string readAll(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

struct OggOpusRepairTest : testing::Test {
    Fakes::ScriptFolder folder;

    /// Six seconds written and finished properly.
    std::string finishedFile() {
        OpusTrackWriter writer(folder.path / "six.opus", {});
        EXPECT_TRUE(writer.write(voiceLike(48000 * 6)));
        EXPECT_TRUE(writer.finish());
        return readAll(folder.path / "six.opus");
    }
};

} // namespace

TEST_F(OggOpusRepairTest, AFileThatEndedProperlyIsGivenBackUnchanged) {
    auto bytes = finishedFile();
    auto result = OggOpusRepair::repair(bytes);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->wasComplete);
    EXPECT_EQ(result->bytes, bytes);
    EXPECT_NEAR(result->seconds, 6.0, 0.05);
}

TEST_F(OggOpusRepairTest, AFileCutAnywhereAfterItsFirstAudioPageBecomesPlayableUpToTheCut) {
    auto bytes = finishedFile();
    for (double fraction : {0.3, 0.5, 0.77, 0.99}) {
        auto cut = bytes.substr(0, size_t(double(bytes.size()) * fraction));
        auto result = OggOpusRepair::repair(cut);
        ASSERT_TRUE(result) << fraction;
        EXPECT_FALSE(result->wasComplete);
        EXPECT_LE(result->bytes.size(), cut.size());
        // At most a page (one second) of audio is lost at the cut.
        EXPECT_GT(result->seconds, 6.0 * fraction - 1.3) << fraction;
        EXPECT_LE(result->seconds, 6.0 * fraction + 0.3) << fraction;
        auto file = folder.path / "repaired.opus";
        std::ofstream(file, std::ios::binary) << result->bytes;
        auto sound = Fakes::SoundFile::read(file);
        ASSERT_TRUE(sound) << "libsndfile cannot read the repaired file cut at " << fraction;
        EXPECT_NEAR(sound->seconds(), result->seconds, 0.05) << fraction;
        EXPECT_GT(sound->decibels(0, sound->samples.size()), -30) << "the audio is not there";
        // Repairing twice changes nothing.
        auto again = OggOpusRepair::repair(result->bytes);
        ASSERT_TRUE(again);
        EXPECT_TRUE(again->wasComplete);
    }
}

TEST_F(OggOpusRepairTest, BytesWithoutOpusAudioGiveNothing) {
    auto bytes = finishedFile();
    OpusTrackWriter headersOnly(folder.path / "empty.opus", {});
    auto headers = readAll(folder.path / "empty.opus"); // flushed at creation, before any audio
    for (const auto& [name, input] : std::vector<std::pair<std::string, std::string>>{
             {"nothing", ""},
             {"not Ogg", std::string(5000, 'x')},
             {"the headers alone", headers},
             {"the first bytes of a page", bytes.substr(0, 20)},
             {"an Ogg stream of something else", "OggS" + std::string(200, '\0')}}) {
        EXPECT_FALSE(OggOpusRepair::repair(input)) << name;
    }
}

TEST_F(OggOpusRepairTest, GarbageInTheMiddleIsSkipped) {
    auto bytes = finishedFile();
    auto damaged = bytes;
    damaged.insert(bytes.size() / 2, std::string(300, '\x5a'));
    auto result = OggOpusRepair::repair(damaged);
    ASSERT_TRUE(result);
    EXPECT_NEAR(result->seconds, 6.0, 0.05);
}

TEST(OpusTrackWriter, AFullDiskStopsTheTrackWithTheReasonAndKeepsWhatWasWritten) {
    OpusTrackWriter writer("/dev/full", {});
    EXPECT_FALSE(writer.write(voiceLike(48000 * 3)));
    ASSERT_TRUE(writer.failure());
    EXPECT_EQ(*writer.failure(), "No space left on device");
    EXPECT_FALSE(writer.write(voiceLike(4800)));
    EXPECT_FALSE(writer.finish());
}

TEST(OpusTrackWriter, AFileInAFolderThatCannotBeMadeNamesTheFolder) {
    try {
        OpusTrackWriter writer("/proc/vellmora/track.opus", {});
        FAIL() << "no error";
    } catch (const std::system_error& e) {
        EXPECT_NE(std::string(e.what()).find("/proc/vellmora"), std::string::npos) << e.what();
    }
}

#include "AudioEngine/CaptureJournal.h"
#include "AudioEngine/OpusTrackWriter.h"
#include "AudioEngine/RecordingRecovery.h"
#include "Fakes/ScriptFolder.h"
#include "Fakes/SoundFile.h"
#include "Support/Files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

using namespace AudioEngine;

namespace {

/// A recording as a crash leaves it: its note, and two tracks written for `seconds` and never finished.
void interruptedRecording(const std::filesystem::path& folder, const std::string& id, double seconds) {
    CaptureJournal journal{id, Support::dateFromUnix(1'760'000'000), {}};
    for (bool microphone : {true, false}) {
        auto name = id + (microphone ? ".microphone.opus" : ".call.opus");
        journal.tracks.push_back({name, microphone, {}});
        // Written by a process that dies without finishing the file, as a killed recorder does.
        pid_t child = ::fork();
        if (child == 0) {
            OpusTrackWriter writer(folder / name, OpusTrackWriter::Options{});
            std::vector<std::int16_t> samples(size_t(seconds * 48000));
            for (size_t i = 0; i < samples.size(); ++i) {
                samples[i] = std::int16_t(6000 * std::sin(double(i) * (microphone ? 0.05 : 0.09)));
            }
            writer.write(samples);
            ::_exit(0);
        }
        ASSERT_GT(child, 0);
        ::waitpid(child, nullptr, 0);
    }
    Support::Files::writeAtomically(CaptureJournal::fileFor(folder, id), journal.serialise());
}

} // namespace

TEST(RecordingRecovery, FinishesAnInterruptedRecordingOnceWithBothTracksPlayable) {
    Fakes::ScriptFolder folder;
    interruptedRecording(folder.path, "rec-1", 7);
    auto result = RecordingRecovery::recover(folder.path);
    EXPECT_TRUE(result.problems.empty());
    ASSERT_EQ(result.recovered.size(), 1u);
    const auto& recording = result.recovered[0];
    EXPECT_EQ(recording.recordingId, "rec-1");
    EXPECT_EQ(recording.startedAt, Support::dateFromUnix(1'760'000'000));
    ASSERT_EQ(recording.tracks.size(), 2u);
    EXPECT_TRUE(recording.tracks[0].isMicrophone);
    EXPECT_FALSE(recording.tracks[1].isMicrophone);
    EXPECT_EQ(recording.audioFile, recording.tracks[0].file);
    // Pages go out every second: at most the last one or two seconds are lost.
    EXPECT_GT(recording.durationSeconds, 5.0);
    EXPECT_LE(recording.durationSeconds, 7.05);
    for (const auto& track : recording.tracks) {
        auto sound = Fakes::SoundFile::read(track.file);
        ASSERT_TRUE(sound) << track.file;
        EXPECT_GT(sound->seconds(), 5.0);
        EXPECT_GT(sound->decibels(0, sound->samples.size()), -25);
    }
    EXPECT_FALSE(std::filesystem::exists(CaptureJournal::fileFor(folder.path, "rec-1")));
    EXPECT_EQ(RecordingRecovery::summary(result), "Vellmora finished a recording that was interrupted (" +
                                                      RecordingRecovery::length(recording.durationSeconds) +
                                                      ") and added it to the library.");
    EXPECT_TRUE(RecordingRecovery::recover(folder.path).recovered.empty()) << "recovered twice";
}

TEST(RecordingRecovery, ReportsWhatItCannotRecoverAndLeavesTheFiles) {
    Fakes::ScriptFolder folder;
    folder.write("bad.capture.json", "{ not json");
    folder.write("empty.microphone.opus", "");
    CaptureJournal empty{
        "empty", Support::dateFromUnix(1'760'000'000), {{"empty.microphone.opus", true, {}}}};
    Support::Files::writeAtomically(CaptureJournal::fileFor(folder.path, "empty"), empty.serialise());
    auto result = RecordingRecovery::recover(folder.path);
    EXPECT_TRUE(result.recovered.empty());
    ASSERT_EQ(result.problems.size(), 2u);
    EXPECT_NE(result.problems[0].find("could not be read"), std::string::npos) << result.problems[0];
    EXPECT_NE(result.problems[1].find("no audio"), std::string::npos) << result.problems[1];
    EXPECT_TRUE(std::filesystem::exists(folder.path / "bad.capture.json"));
    EXPECT_TRUE(std::filesystem::exists(folder.path / "empty.microphone.opus"));
    EXPECT_FALSE(RecordingRecovery::summary(result));
    EXPECT_TRUE(RecordingRecovery::recover(folder.path / "missing").recovered.empty());
}

TEST(RecordingRecovery, SaysHowLongInOneLine) {
    RecordingRecovery::Result two;
    two.recovered.resize(2);
    two.recovered[0].durationSeconds = 100;
    two.recovered[1].durationSeconds = 3700;
    EXPECT_EQ(
        RecordingRecovery::summary(two, "the recordings folder"),
        "Vellmora finished 2 recordings that were interrupted (1 h 03 min in all) and added them to the "
        "recordings folder.");
    EXPECT_EQ(RecordingRecovery::length(38.4), "38 s");
    EXPECT_EQ(RecordingRecovery::length(252), "4 min 12 s");
}

TEST(CaptureJournal, ReadsBackWhatItWroteAndRefusesNotesThatPointOutsideTheFolder) {
    CaptureJournal journal{
        "abc",
        Support::dateFromUnix(1'760'000'000.5),
        {{"abc.microphone.opus", true, {}}, {"abc.call.opus", false, Support::seconds(0.25)}}};
    EXPECT_EQ(CaptureJournal::parse(journal.serialise()), journal);
    for (const char* text :
         {"", "[]", "{\"recordingId\":\"a\",\"startedAt\":1,\"tracks\":[]}",
          "{\"recordingId\":\"a\",\"startedAt\":1,\"tracks\":[{\"file\":\"../../etc/passwd\"}]}",
          "{\"recordingId\":\"a\",\"startedAt\":1,\"tracks\":[{\"file\":\"/etc/passwd\"}]}",
          "{\"recordingId\":\"../a\",\"startedAt\":1,\"tracks\":[{\"file\":\"a.opus\"}]}",
          "{\"recordingId\":\"a\",\"startedAt\":\"soon\",\"tracks\":[{\"file\":\"a.opus\"}]}"}) {
        EXPECT_FALSE(CaptureJournal::parse(text)) << text;
    }
}

TEST(CaptureJournal, KeepsTheScreenVideoNotedLaterAndDropsOnlyADamagedVideoEntry) {
    Fakes::ScriptFolder folder;
    CaptureJournal journal{"abc", Support::dateFromUnix(1'760'000'000), {{"abc.microphone.opus", true, {}}}};
    EXPECT_FALSE(CaptureJournal::noteVideo(folder.path, "abc", folder.path / "abc.microphone.mkv",
                                           Support::seconds(0.3)))
        << "no note: nothing written";
    EXPECT_FALSE(std::filesystem::exists(CaptureJournal::fileFor(folder.path, "abc")));
    Support::Files::writeAtomically(CaptureJournal::fileFor(folder.path, "abc"), journal.serialise());
    ASSERT_TRUE(CaptureJournal::noteVideo(folder.path, "abc", folder.path / "abc.microphone.mkv",
                                          Support::seconds(0.3)));
    auto noted =
        CaptureJournal::parse(*Support::Files::readIfExists(CaptureJournal::fileFor(folder.path, "abc")));
    ASSERT_TRUE(noted);
    EXPECT_EQ(noted->videoFile, std::filesystem::path("abc.microphone.mkv"));
    EXPECT_EQ(noted->videoOffset, Support::seconds(0.3));
    EXPECT_EQ(noted->tracks, journal.tracks);

    for (const char* video : {"{\"file\":\"../elsewhere.mkv\"}", "{\"file\":7}", "[]"}) {
        auto text = "{\"recordingId\":\"a\",\"startedAt\":1,\"tracks\":[{\"file\":\"a.opus\"}],\"video\":" +
                    std::string(video) + "}";
        auto parsed = CaptureJournal::parse(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_FALSE(parsed->videoFile) << text;
        EXPECT_EQ(parsed->tracks.size(), 1u);
    }
}

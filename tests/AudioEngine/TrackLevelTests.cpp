#include "AudioEngine/TrackLevel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using AudioEngine::TrackLevel;

namespace {

std::vector<std::int16_t> tone(size_t count, double amplitude) {
    std::vector<std::int16_t> samples(count);
    for (size_t i = 0; i < count; ++i) {
        samples[i] = std::int16_t(amplitude * 32767 * std::sin(double(i) * 0.13));
    }
    return samples;
}

} // namespace

TEST(TrackLevel, ReportsATrackSilentForTheWholeFirstWindowExactlyOnce) {
    TrackLevel level(48000, 48000 * 20);
    std::vector<std::int16_t> silence(48000, 0);
    int reports = 0;
    for (int second = 0; second < 40; ++second) {
        reports += level.add(silence) ? 1 : 0;
        if (second == 18) {
            EXPECT_EQ(reports, 0) << "reported before the window ended";
        }
    }
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(TrackLevel::describe(level.peakDecibels()), "silence");
}

TEST(TrackLevel, SoundBeforeTheWindowEndsMeansNoReportEvenIfSilenceFollows) {
    struct Case {
        const char* name;
        size_t silentBefore;
        double amplitude;
        bool reported;
    };
    for (const auto& c : std::vector<Case>{{"a voice after ten seconds", 480000, 0.2, false},
                                           {"a faint hiss at the start", 0, 0.001, false},
                                           {"noise below the threshold", 0, 0.0001, true},
                                           {"a voice only after the window", 48000 * 21, 0.2, true}}) {
        TrackLevel level(48000, 48000 * 20);
        bool reported = level.add(std::vector<std::int16_t>(c.silentBefore, 0));
        reported = level.add(tone(4800, c.amplitude)) || reported;
        for (int i = 0; i < 25; ++i) {
            reported = level.add(std::vector<std::int16_t>(48000, 0)) || reported;
        }
        EXPECT_EQ(reported, c.reported) << c.name;
    }
}

TEST(TrackLevel, GapsFilledWithSilenceCountTowardsTheWindow) {
    TrackLevel level(48000, 48000);
    EXPECT_FALSE(level.addSilence(47999));
    EXPECT_TRUE(level.addSilence(1));
    EXPECT_FALSE(level.addSilence(48000));
    EXPECT_DOUBLE_EQ(level.seconds(), 2.0);
}

TEST(TrackLevel, MeasuresPeakAndAverageInDecibelsOfFullScale) {
    TrackLevel level(48000, 0);
    EXPECT_FALSE(level.add(tone(48000, 0.5)));
    EXPECT_NEAR(level.peakDecibels(), -6.0, 0.1);
    EXPECT_NEAR(level.averageDecibels(), -9.0, 0.2); // a sine's RMS is 3 dB under its peak
    EXPECT_EQ(TrackLevel::describe(-6.02), "-6 dBFS");
    EXPECT_EQ(TrackLevel::describe(TrackLevel::decibels(0)), "silence");
}

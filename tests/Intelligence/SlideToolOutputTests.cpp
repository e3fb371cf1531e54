#include "Intelligence/SlideToolOutput.h"

#include <gtest/gtest.h>

#include <clocale>

using namespace Intelligence::SlideToolOutput;

TEST(SlideToolOutput, ReadsTheFrameTimesOfShowinfoLinesOnlyAndSkipsWhatIsNotATime) {
    const std::string stderrText =
        "Input #0, mov,mp4, from 'screen.mp4':\n"
        "[Parsed_showinfo_2 @ 0x55] n:   0 pts:      0 pts_time:0       duration:1\n"
        "[Parsed_showinfo_2 @ 0x55] n:   1 pts: 153600 pts_time:12.5    duration:1\r\n"
        "frame=    2 fps=0.0 q=-0.0 pts_time:99 (a progress line)\n"
        "[Parsed_showinfo_2 @ 0x55] n:   2 pts_time:nan\n"
        "[Parsed_showinfo_2 @ 0x55] n:   3 pts_time:-4\n"
        "[Parsed_showinfo_2 @ 0x55] n:   4 pts_time:\n"
        "[Parsed_showinfo_2 @ 0x55] n:   5 pts_time:3600.25";
    EXPECT_EQ(frameTimes(stderrText), (std::vector<double>{0, 12.5, 3600.25}));
}

TEST(SlideToolOutput, ReadsFrameTimesWithAPointWhateverTheLocaleSays) {
    const char* old = std::setlocale(LC_NUMERIC, nullptr);
    std::string saved = old ? old : "C";
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
        GTEST_SKIP() << "no German locale on this machine";
    }
    EXPECT_EQ(frameTimes("[Parsed_showinfo_1 @ 0x1] pts_time:12.5"), std::vector<double>{12.5});
    std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(SlideToolOutput, CleansFrameTextAndPicksTheLastErrorLine) {
    EXPECT_EQ(cleanedText("  Quarterly plan  \n\n\f\nRevenue +12%\n\n"), "Quarterly plan\nRevenue +12%");
    EXPECT_EQ(cleanedText(std::string("ok\xff\n", 4)), "ok\uFFFD");
    EXPECT_EQ(lastLine("ffmpeg version 5\nscreen.mp4: No such file or directory\n\n  "),
              "screen.mp4: No such file or directory");
    EXPECT_EQ(lastLine(" \n\n"), "no details");
}

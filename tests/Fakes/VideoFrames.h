// What the screen-capture tests read back from ffmpeg: the frames it says it has written so far (its last
// "frame= N" progress line in its log) and the frames ffprobe reads in a finished or cut video. Used by the
// x11grab capture, the video lifecycle and the crash-recovery tests.
#pragma once

#include "Platform/PosixProcessRunner.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

namespace Fakes {

/// The frame count of ffmpeg's last progress line in `log`, 0 before the first.
inline int framesWritten(const std::filesystem::path& log) {
    std::ifstream in(log, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    static const std::regex progress("frame=\\s*(\\d+)");
    int frames = 0;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), progress); it != std::sregex_iterator();
         ++it) {
        frames = std::stoi((*it)[1]);
    }
    return frames;
}

/// The frames ffprobe reads in `video`'s first video stream, or -1 when it cannot read it.
inline int videoFrames(const std::filesystem::path& video) {
    Platform::PosixProcessRunner runner;
    auto probe = runner.runBlocking(
        {.executable = "/usr/bin/ffprobe",
         .arguments = {"-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                       "stream=nb_read_frames", "-of", "csv=p=0", video.string()}});
    return probe.succeeded() ? std::atoi(probe.standardOutput.c_str()) : -1;
}

} // namespace Fakes

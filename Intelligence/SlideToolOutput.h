// Reading what the slide tools print: the frame times of ffmpeg's showinfo filter (its lines on stderr carry
// "pts_time:<seconds>"), the text tesseract read from a frame (padded with blank lines, trailing spaces and a
// form feed), and the last line of a tool's error output for the message the user sees. Any bytes are
// accepted: lines without a time are skipped, invalid UTF-8 is replaced.
#pragma once

#include <string>
#include <vector>

namespace Intelligence::SlideToolOutput {

/// The "pts_time:" of every showinfo line, in output order.
std::vector<double> frameTimes(const std::string& showinfo);
/// Frame text with blank lines, surrounding spaces and form feeds gone.
std::string cleanedText(const std::string& raw);
/// The last non-blank line, trimmed; "no details" when there is none.
std::string lastLine(const std::string& text);

} // namespace Intelligence::SlideToolOutput

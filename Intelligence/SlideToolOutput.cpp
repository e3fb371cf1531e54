#include "Intelligence/SlideToolOutput.h"

#include "Support/Text.h"

#include <charconv>
#include <cmath>

namespace Intelligence::SlideToolOutput {

std::vector<double> frameTimes(const std::string& showinfo) {
    std::vector<double> times;
    for (const auto& line : Support::Text::lines(showinfo)) {
        if (line.find("showinfo") == std::string::npos) {
            continue;
        }
        auto at = line.find("pts_time:");
        if (at == std::string::npos) {
            continue;
        }
        // from_chars, not strtod: the user's locale may want a decimal comma; ffmpeg always writes a point.
        const char* start = line.data() + at + 9;
        double value = 0;
        auto [end, error] = std::from_chars(start, line.data() + line.size(), value);
        if (error == std::errc() && end != start && std::isfinite(value) && value >= 0) {
            times.push_back(value);
        }
    }
    return times;
}

std::string lastLine(const std::string& text) {
    auto all = Support::Text::lines(text);
    for (auto it = all.rbegin(); it != all.rend(); ++it) {
        auto line = Support::Text::trimmed(*it);
        if (!line.empty()) {
            return line;
        }
    }
    return "no details";
}

std::string cleanedText(const std::string& raw) {
    std::vector<std::string> kept;
    for (const auto& line : Support::Text::lines(Support::Text::sanitizedUTF8(raw))) {
        auto trimmed = Support::Text::trimmed(line);
        if (!trimmed.empty() && trimmed != "\f") {
            kept.push_back(trimmed);
        }
    }
    return Support::Text::joined(kept, "\n");
}

} // namespace Intelligence::SlideToolOutput

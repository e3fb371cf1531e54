// The transcript formatter on segments decoded from arbitrary bytes (any start time, NaN and infinities
// included, any text and speaker bytes): it must not crash, and every line must read
// "<label> (<timestamp>): <text>" with single spaces in the text.
#include "Database/TranscriptTextFormatter.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<Database::TranscriptTextFormatter::Segment> segments;
    size_t pos = 0;
    while (pos + 11 <= size && segments.size() < 64) {
        Database::TranscriptTextFormatter::Segment s;
        std::memcpy(&s.startTime, data + pos, 8);
        s.isFromMicrophone = data[pos + 8] & 1;
        const size_t textLength = std::min<size_t>(data[pos + 9], size - pos - 11);
        const size_t speakerLength = std::min<size_t>(data[pos + 10] % 8, size - pos - 11 - textLength);
        pos += 11;
        s.text.assign(reinterpret_cast<const char*>(data + pos), textLength);
        pos += textLength;
        s.speaker.assign(reinterpret_cast<const char*>(data + pos), speakerLength);
        pos += speakerLength;
        segments.push_back(std::move(s));
    }
    for (const auto& line : Database::TranscriptTextFormatter::lines(segments)) {
        auto open = line.find(" (");
        auto close = line.find("): ");
        if (open == std::string::npos || close == std::string::npos || line.size() == close + 3) {
            std::abort();
        }
    }
    for (const auto& s : segments) {
        auto stamp = Database::TranscriptTextFormatter::timestamp(s.startTime);
        if (stamp.empty() || stamp.find(':') == std::string::npos) {
            std::abort();
        }
    }
    return 0;
}

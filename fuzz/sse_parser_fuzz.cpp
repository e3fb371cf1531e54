// Any body, split at a position taken from the input, gives the same events as the body in one piece.
#include "Intelligence/ServerSentEvents.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace {
std::vector<Intelligence::ServerSentEvent> parse(std::string_view body, size_t cut) {
    Intelligence::ServerSentEventParser parser;
    auto events = parser.feed(body.substr(0, cut));
    auto more = parser.feed(body.substr(cut));
    events.insert(events.end(), more.begin(), more.end());
    auto tail = parser.finish();
    events.insert(events.end(), tail.begin(), tail.end());
    return events;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    const size_t cut = data[0] % size;
    const std::string_view body(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        if (parse(body, 0) != parse(body, std::min(cut, body.size()))) {
            std::abort();
        }
    } catch (const std::length_error&) {
    }
    return 0;
}

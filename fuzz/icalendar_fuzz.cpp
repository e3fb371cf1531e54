// The iCalendar reader on any bytes: a clear error or occurrences, never a crash or a hang.
#include "Platform/Linux/ICalendarStore.h"

#include <cstdint>
#include <stdexcept>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const auto start = *Support::parseISO8601("2026-11-27T00:00:00Z");
    static const auto end = *Support::parseISO8601("2026-11-29T00:00:00Z");
    try {
        Platform::ICalendarStore::occurrencesInText(
            std::string_view(reinterpret_cast<const char*>(data), size), "fuzz", start, end, "Europe/Berlin",
            {"me@example.com"});
    } catch (const std::runtime_error&) {
    }
    return 0;
}

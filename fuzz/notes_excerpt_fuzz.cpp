// The notes excerpt on any bytes: no crash, no hang, never more than 1000 characters.
#include "Support/Text.h"
#include "UI/calendar/CalendarNotesSanitizer.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto excerpt =
        UI::CalendarNotesSanitizer::excerpt(std::string_view(reinterpret_cast<const char*>(data), size));
    if (excerpt && (excerpt->empty() ||
                    Support::Text::graphemeCount(*excerpt) > UI::CalendarNotesSanitizer::maxLength)) {
        std::abort();
    }
    return 0;
}

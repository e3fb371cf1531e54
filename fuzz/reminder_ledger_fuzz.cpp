// Feeds arbitrary bytes to the two decoders of reminder data that come from outside: the ledger JSON
// stored in the user defaults, and notification answers (category, action and user info). Neither may
// crash; a decoded ledger must decode again from its own encoding, to the same text.
#include "UI/calendar/CalendarReminderLedger.h"
#include "UI/calendar/MeetingReminderResponse.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    if (auto ledger = UI::CalendarReminderLedger::decode(text)) {
        auto encoded = ledger->encoded();
        auto again = UI::CalendarReminderLedger::decode(encoded);
        if (!again || again->encoded() != encoded) {
            std::abort();
        }
    }
    // The same bytes as a notification answer: fields split at NUL bytes.
    std::string fields[6];
    size_t field = 0;
    for (char c : text) {
        if (c == '\0' && field < 5) {
            ++field;
        } else {
            fields[field] += c;
        }
    }
    std::map<std::string, std::string> info = {
        {"occurrenceKey", fields[2]}, {"stage", fields[3]}, {"kind", fields[4]}, {"intentID", fields[5]}};
    auto response = UI::MeetingReminderResponse::parse(fields[0], fields[1], info);
    if (response && response->occurrenceKey.empty()) {
        std::abort();
    }
    return 0;
}

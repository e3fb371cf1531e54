// User-path redaction on arbitrary bytes: never crashes, and is idempotent.
#include "UI/feedback/DiagnosticRedaction.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto once = UI::DiagnosticRedaction::redactingUserPaths(text);
    if (UI::DiagnosticRedaction::redactingUserPaths(once) != once) {
        std::abort();
    }
    return 0;
}

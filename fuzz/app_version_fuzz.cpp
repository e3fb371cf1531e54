// AppVersion parsing and comparison on arbitrary text: never crashes, and parse(description) round-trips.
#include "UI/updates/AppVersion.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto split = text.find('|');
    const auto a = text.substr(0, split);
    const auto b = split == std::string_view::npos ? std::string_view() : text.substr(split + 1);
    if (auto v = UI::AppVersion::parse(a)) {
        auto again = UI::AppVersion::parse(v->description());
        if (!again || !(*again == *v)) {
            std::abort();
        }
        if (auto w = UI::AppVersion::parse(b)) {
            // Antisymmetry of the order.
            if ((*v < *w) && (*w < *v)) {
                std::abort();
            }
        }
    }
    (void)UI::AppVersion::isNewer(a, b);
    return 0;
}

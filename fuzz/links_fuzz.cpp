// links(in:) and the link detector on any bytes: no crash, no hang, every detected range inside the text.
#include "UI/calendar/LinkDetector.h"
#include "UI/calendar/MeetingLinkExtractor.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    UI::LinkDetector::forEachLink(text, [&](const UI::DetectedLink& link) {
        if (link.start + link.length > text.size() || link.length == 0) {
            std::abort();
        }
        return true;
    });
    auto links = UI::MeetingLinkExtractor::links(text);
    auto first = UI::MeetingLinkExtractor::firstLink(text);
    if (links.empty() != !first.has_value()) {
        std::abort();
    }
    UI::MeetingLinkExtractor::trimmingTrailingPunctuation(text);
    return 0;
}

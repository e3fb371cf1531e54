// Redirect unwrapping and classification of any URL text, nested wrappers included: no crash, no hang.
#include "UI/calendar/MeetingLinkExtractor.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    for (const auto& candidate : {text, "https://x.safelinks.protection.outlook.com/?url=" + text,
                                  "https://www.google.com/url?q=" + text}) {
        if (auto url = Support::Url::parse(candidate)) {
            UI::MeetingLinkExtractor::unwrapRedirect(*url);
            UI::MeetingLinkExtractor::classify(*url);
        }
    }
    return 0;
}

// The store's lookup answer: any body maps to one of the three outcomes without crashing.
#include "UI/updates/AppStoreLookupClient.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Platform::HttpResponse response{200, {}, std::string(reinterpret_cast<const char*>(data), size)};
    auto outcome = UI::AppStoreLookupClient::outcome(response);
    if (outcome.kind == UI::AppStoreLookupClient::Outcome::Kind::release && !outcome.release) {
        std::abort();
    }
    return 0;
}

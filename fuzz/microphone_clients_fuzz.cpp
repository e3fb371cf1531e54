// pactl's JSON list of source outputs on any bytes, then the call detector over what was read: no crash, no
// hang; a call is only ever found for a stream that was listed, and the holders are the calls' apps.
#include "Platform/Linux/PulseMicrophoneMonitor.h"
#include "UI/recording/CallDetector.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    auto clients = Platform::PulseMicrophoneMonitor::parseSourceOutputs(text);
    Platform::PulseMicrophoneMonitor::isSourceOutputEvent(text);
    if (!clients) {
        return 0;
    }
    auto calls = UI::CallDetector::callsIn(*clients, {});
    if (calls.size() > clients->size()) {
        std::abort();
    }
    UI::CallDetector detector;
    auto changes = detector.update(*clients, {});
    if (changes.started != calls || !changes.ended.empty() ||
        changes.microphoneHolders.size() != calls.size()) {
        std::abort();
    }
    auto gone = detector.update({}, {});
    if (gone.ended != calls || !gone.started.empty() || !gone.microphoneHolders.empty()) {
        std::abort();
    }
    return 0;
}

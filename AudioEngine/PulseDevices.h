// The devices Vellmora would record from, as `vellmora audio devices` shows them: the microphones (the
// server's sources that are not monitors of an output) and the outputs (sinks), whose monitor is recorded as
// the other people in the call; the server's defaults are the ones recorded and are marked.
//
// `list` connects to the sound server (blocking; throws `CaptureError` with the reason); `describe` is the
// pure text shown to the user. Edge cases: a server with no microphone or no output says so on that line;
// a device without a description shows its name.
#pragma once

#include <string>
#include <vector>

namespace AudioEngine {

struct PulseDevices {
    struct Device {
        std::string name;
        std::string description;
        bool isDefault = false;

        bool operator==(const Device&) const = default;
    };
    std::string server;
    std::vector<Device> microphones;
    std::vector<Device> outputs;

    static PulseDevices list();
    static std::string describe(const PulseDevices& devices);
};

} // namespace AudioEngine

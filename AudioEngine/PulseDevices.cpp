#include "AudioEngine/PulseDevices.h"

#include "AudioEngine/PulseContext.h"

#include <pulse/pulseaudio.h>

namespace AudioEngine {

PulseDevices PulseDevices::list() {
    PulseContext connection;
    connection.connect();
    PulseContext::Lock lock(connection);
    auto defaults = connection.defaults();
    struct Query {
        const PulseContext* connection;
        PulseDevices devices;
    } query{&connection, {}};
    query.devices.server = connection.serverKind();
    connection.await(pa_context_get_source_info_list(
        connection.context(),
        [](pa_context*, const pa_source_info* info, int end, void* data) {
            auto& q = *static_cast<Query*>(data);
            if (end || !info) {
                q.connection->signal();
                return;
            }
            if (info->monitor_of_sink == PA_INVALID_INDEX) {
                q.devices.microphones.push_back({info->name, info->description ? info->description : ""});
            }
        },
        &query));
    connection.await(pa_context_get_sink_info_list(
        connection.context(),
        [](pa_context*, const pa_sink_info* info, int end, void* data) {
            auto& q = *static_cast<Query*>(data);
            if (end || !info) {
                q.connection->signal();
                return;
            }
            q.devices.outputs.push_back({info->name, info->description ? info->description : ""});
        },
        &query));
    for (auto& d : query.devices.microphones) {
        d.isDefault = d.name == defaults.source;
    }
    for (auto& d : query.devices.outputs) {
        d.isDefault = d.name == defaults.sink;
    }
    return query.devices;
}

std::string PulseDevices::describe(const PulseDevices& devices) {
    auto section = [](std::string& text, const std::string& title, const std::vector<Device>& list,
                      const std::string& none) {
        text += title + "\n";
        if (list.empty()) {
            text += "  " + none + "\n";
        }
        for (const auto& d : list) {
            text += std::string(d.isDefault ? "* " : "  ") + (d.description.empty() ? d.name : d.description);
            if (!d.description.empty()) {
                text += " (" + d.name + ")";
            }
            text += "\n";
        }
    };
    std::string text = "Sound server: " + devices.server + "\n";
    section(text, "Microphones (your voice; * is recorded):", devices.microphones,
            "none: the microphone track will be silent");
    section(text,
            "Outputs (what the computer plays, the others in the call; * is recorded):", devices.outputs,
            "none: the call track will be silent");
    text += "Vellmora follows the defaults when they change during a call.\n";
    return text;
}

} // namespace AudioEngine

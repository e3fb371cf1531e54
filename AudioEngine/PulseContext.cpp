#include "AudioEngine/PulseContext.h"

#include "AudioEngine/CaptureEngine.h"

#include <pulse/pulseaudio.h>

namespace AudioEngine {

PulseContext::PulseContext() {
    loop_ = pa_threaded_mainloop_new();
    if (!loop_) {
        throw CaptureError("Recording could not start: the sound server's client library is out of memory.");
    }
    pa_threaded_mainloop_set_name(loop_, "vellmora-audio");
}

PulseContext::~PulseContext() {
    if (context_) {
        {
            Lock lock(*this);
            pa_context_disconnect(context_);
            pa_context_unref(context_);
        }
        context_ = nullptr;
    }
    pa_threaded_mainloop_stop(loop_);
    pa_threaded_mainloop_free(loop_);
}

PulseContext::Lock::Lock(const PulseContext& c) : loop_(c.loop_) {
    pa_threaded_mainloop_lock(loop_);
}

PulseContext::Lock::~Lock() {
    pa_threaded_mainloop_unlock(loop_);
}

void PulseContext::signal() const {
    pa_threaded_mainloop_signal(loop_, 0);
}

void PulseContext::await(pa_operation* operation) const {
    if (!operation) {
        return;
    }
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING) {
        pa_threaded_mainloop_wait(loop_);
    }
    pa_operation_unref(operation);
}

void PulseContext::makeContext() {
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, applicationName);
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, applicationId);
    pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, "production");
    context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(loop_), applicationName, properties);
    pa_proplist_free(properties);
    if (!context_) {
        throw CaptureError("Recording could not start: the sound server's client library is out of memory.");
    }
    pa_context_set_state_callback(
        context_, [](pa_context*, void* self) { static_cast<PulseContext*>(self)->signal(); }, this);
}

bool PulseContext::isReady() const {
    return context_ && pa_context_get_state(context_) == PA_CONTEXT_READY;
}

bool PulseContext::hasFailed() const {
    return !context_ || !PA_CONTEXT_IS_GOOD(pa_context_get_state(context_));
}

void PulseContext::reconnect() {
    if (context_) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        context_ = nullptr;
    }
    try {
        makeContext();
    } catch (const CaptureError&) {
        return; // tried again at the next turn
    }
    pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void PulseContext::connect() {
    makeContext();
    if (pa_threaded_mainloop_start(loop_) < 0) {
        throw CaptureError("Recording could not start: the sound server's client thread did not start.");
    }
    Lock lock(*this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        throw CaptureError(
            std::string("Recording could not start: no PulseAudio or PipeWire server answered (") +
            pa_strerror(pa_context_errno(context_)) + ").");
    }
    for (;;) {
        auto state = pa_context_get_state(context_);
        if (state == PA_CONTEXT_READY) {
            break;
        }
        if (!PA_CONTEXT_IS_GOOD(state)) {
            throw CaptureError(
                std::string("Recording could not start: no PulseAudio or PipeWire server answered (") +
                pa_strerror(pa_context_errno(context_)) + ").");
        }
        pa_threaded_mainloop_wait(loop_);
    }
    auto name = defaults().serverName;
    if (name.find("PipeWire") != std::string::npos) {
        serverKind_ = "PipeWire";
    }
}

PulseContext::Defaults PulseContext::defaults() const {
    struct Query {
        const PulseContext* self;
        Defaults defaults;
    } query{this, {}};
    await(pa_context_get_server_info(
        context_,
        [](pa_context*, const pa_server_info* info, void* data) {
            auto& q = *static_cast<Query*>(data);
            if (info) {
                q.defaults.source = info->default_source_name ? info->default_source_name : "";
                q.defaults.sink = info->default_sink_name ? info->default_sink_name : "";
                q.defaults.serverName = info->server_name ? info->server_name : "";
            }
            q.self->signal();
        },
        &query));
    return query.defaults;
}

} // namespace AudioEngine

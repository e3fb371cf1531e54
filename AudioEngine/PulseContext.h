// A connection to the sound server through the PulseAudio client library (PulseAudio itself, or PipeWire
// through pipewire-pulse), with the library's own thread: what `PulseCapture` records through and what
// `PulseDevices` lists with. Every stream made on it carries the application name "Vellmora", by which the
// call detector knows our own streams from a meeting app's.
//
// `connect` blocks until the server answers (or refuses) and throws `CaptureError` with the reason; the
// library's callbacks run on its thread, so any other use of `context()` happens inside a `Lock`.
// Destruction disconnects and stops the thread.
#pragma once

#include <functional>
#include <string>

struct pa_context;
struct pa_threaded_mainloop;
struct pa_operation;

namespace AudioEngine {

class PulseContext {
public:
    static constexpr const char* applicationName = "Vellmora";
    static constexpr const char* applicationId = "dev.tessadine.vellmora";

    PulseContext();
    ~PulseContext();
    PulseContext(const PulseContext&) = delete;
    PulseContext& operator=(const PulseContext&) = delete;

    void connect();
    /// On the library's thread, once the server has gone away: a new connection is begun (nothing waits for
    /// it); `isReady` tells when it is up. Streams of the old connection are gone with it.
    void reconnect();
    /// Inside a Lock or on the library's thread.
    bool isReady() const;
    bool hasFailed() const;
    /// "PipeWire" or "PulseAudio", from the server's own name.
    std::string serverKind() const { return serverKind_; }

    pa_context* context() const { return context_; }
    pa_threaded_mainloop* loop() const { return loop_; }

    class Lock {
    public:
        explicit Lock(const PulseContext& c);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* loop_;
    };

    /// Inside a Lock: waits for the operation to end (its callback must `signal`), then releases it.
    void await(pa_operation* operation) const;
    /// From a callback on the library's thread: wakes `await`.
    void signal() const;

    /// The server's default devices (inside a Lock).
    struct Defaults {
        std::string source;
        std::string sink;
        std::string serverName;
    };
    Defaults defaults() const;

private:
    void makeContext();

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    std::string serverKind_ = "PulseAudio";
};

} // namespace AudioEngine

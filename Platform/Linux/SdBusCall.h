// One sd-bus connection driven by the main loop: its socket is watched with `watchReadable`, so replies
// and signals are dispatched on the main thread, and method calls are awaited as tasks. Used by the
// notification centre and the logind services. A failed call throws `SdBusError` with the D-Bus error's
// message; a call awaited by a cancelled task is dropped (its reply is ignored).
#pragma once

#include "Support/MainLoop.h"
#include "Support/Signal.h"
#include "Support/Task.h"

#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace Platform::Linux {

struct SdBusError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class SdBusConnection {
public:
    using Message = std::shared_ptr<sd_bus_message>;

    /// Connects to the bus at `address`, else to the system bus (`system`) or the user's session bus.
    /// Throws SdBusError when the bus cannot be reached.
    SdBusConnection(Support::MainLoop& loop, const std::optional<std::string>& address, bool system);
    ~SdBusConnection();
    SdBusConnection(const SdBusConnection&) = delete;
    SdBusConnection& operator=(const SdBusConnection&) = delete;

    sd_bus* get() const { return bus_; }
    /// Writes out queued messages.
    void flush();
    /// Sends `call` (the task takes its reference) and resumes with the reply.
    Support::Task<Message> call(sd_bus_message* call);
    /// Sends `message` without waiting for a reply (the caller keeps its reference).
    void sendAndForget(sd_bus_message* message);

private:
    struct Pending;
    void process();
    static int onReply(sd_bus_message* reply, void* userdata, void* error);

    Support::MainLoop& loop_;
    sd_bus* bus_ = nullptr;
    Support::Subscription watch_;
    std::set<std::shared_ptr<Pending>> pending_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace Platform::Linux

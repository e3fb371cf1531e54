#include "Platform/Linux/LogindActivityAssertion.h"

#include "Platform/Linux/SdBusCall.h"
#include "Support/FileDescriptor.h"
#include "Support/Log.h"

#include <systemd/sd-bus.h>

#include <fcntl.h>
#include <unistd.h>

namespace Platform::Linux {

struct LogindActivityAssertion::Impl {
    Support::MainLoop& loop;
    std::optional<std::string> address;
    std::unique_ptr<SdBusConnection> bus;
    bool warned = false;
    Support::Logger log{"activity"};

    Impl(Support::MainLoop& l, std::optional<std::string> a) : loop(l), address(std::move(a)) {}

    SdBusConnection* connection() {
        if (!bus) {
            try {
                bus = std::make_unique<SdBusConnection>(loop, address, true);
            } catch (const std::exception& e) {
                warnOnce(e.what());
            }
        }
        return bus.get();
    }
    void warnOnce(const std::string& why) {
        if (!warned) {
            warned = true;
            log.warning("Couldn't keep the computer awake for a reminder: {}", why);
        }
    }
};

/// One lock: the descriptor once logind sent it, and whether the handle already ended.
struct Lock {
    Support::FileDescriptor fd;
    bool ended = false;
};

LogindActivityAssertion::LogindActivityAssertion(Support::MainLoop& loop, std::optional<std::string> address)
    : impl_(std::make_shared<Impl>(loop, std::move(address))) {}

LogindActivityAssertion::~LogindActivityAssertion() = default;

Support::Subscription LogindActivityAssertion::begin(const std::string& reason) {
    auto* bus = impl_->connection();
    if (!bus) {
        return {};
    }
    sd_bus_message* m = nullptr;
    if (sd_bus_message_new_method_call(bus->get(), &m, "org.freedesktop.login1", "/org/freedesktop/login1",
                                       "org.freedesktop.login1.Manager", "Inhibit") < 0 ||
        sd_bus_message_append(m, "ssss", "idle", "Vellmora", reason.c_str(), "block") < 0) {
        sd_bus_message_unref(m);
        return {};
    }
    auto lock = std::make_shared<Lock>();
    auto task = Support::startTask([impl = impl_, m, lock]() -> Support::Task<void> {
        try {
            auto reply = co_await impl->bus->call(m);
            int fd = -1;
            if (sd_bus_message_read(reply.get(), "h", &fd) < 0 || fd < 0) {
                impl->warnOnce("logind sent no lock");
                co_return;
            }
            if (!lock->ended) {
                lock->fd.reset(::fcntl(fd, F_DUPFD_CLOEXEC, 3)); // the reply owns `fd`
            }
        } catch (const std::exception& e) {
            impl->warnOnce(e.what());
        }
    });
    return Support::Subscription([lock, task] {
        lock->ended = true;
        lock->fd.reset();
        task.cancel();
    });
}

} // namespace Platform::Linux

#include "Platform/Linux/SdBusCall.h"

#include <systemd/sd-bus.h>

#include <cstring>

namespace Platform::Linux {

struct SdBusConnection::Pending {
    SdBusConnection* owner = nullptr;
    sd_bus_slot* slot = nullptr;
    std::optional<Support::Continuation<Message>> continuation;
    ~Pending() { sd_bus_slot_unref(slot); }
};

SdBusConnection::SdBusConnection(Support::MainLoop& loop, const std::optional<std::string>& address,
                                 bool system)
    : loop_(loop) {
    int rc = 0;
    if (address) {
        rc = sd_bus_new(&bus_);
        if (rc >= 0) {
            rc = sd_bus_set_address(bus_, address->c_str());
        }
        if (rc >= 0) {
            rc = sd_bus_set_bus_client(bus_, 1);
        }
        if (rc >= 0) {
            rc = sd_bus_start(bus_);
        }
    } else {
        rc = system ? sd_bus_open_system(&bus_) : sd_bus_open_user(&bus_);
    }
    if (rc < 0) {
        sd_bus_unref(bus_);
        bus_ = nullptr;
        throw SdBusError(std::string("Couldn't connect to the ") + (system ? "system" : "session") +
                         " bus: " + std::strerror(-rc));
    }
    watch_ = loop_.watchReadable(sd_bus_get_fd(bus_), [this] { process(); });
}

SdBusConnection::~SdBusConnection() {
    *alive_ = false;
    watch_.reset();
    pending_.clear();
    if (bus_) {
        sd_bus_flush_close_unref(bus_);
    }
}

void SdBusConnection::flush() {
    sd_bus_flush(bus_);
}

void SdBusConnection::process() {
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
}

int SdBusConnection::onReply(sd_bus_message* reply, void* userdata, void*) {
    auto* pending = static_cast<Pending*>(userdata);
    if (pending->continuation) {
        if (sd_bus_message_is_method_error(reply, nullptr)) {
            const sd_bus_error* error = sd_bus_message_get_error(reply);
            std::string text = error && error->message ? error->message
                               : error && error->name  ? error->name
                                                       : "";
            pending->continuation->fail(
                std::make_exception_ptr(SdBusError(text.empty() ? "D-Bus call failed" : text)));
        } else {
            pending->continuation->resume(Message(sd_bus_message_ref(reply), sd_bus_message_unref));
        }
        pending->continuation.reset();
    }
    // The slot is released after this dispatch, not inside it.
    auto* owner = pending->owner;
    owner->loop_.post([owner, alive = owner->alive_, pending] {
        if (!*alive) {
            return;
        }
        for (auto it = owner->pending_.begin(); it != owner->pending_.end(); ++it) {
            if (it->get() == pending) {
                owner->pending_.erase(it);
                break;
            }
        }
    });
    return 0;
}

Support::Task<SdBusConnection::Message> SdBusConnection::call(sd_bus_message* callMessage) {
    Message message(callMessage, sd_bus_message_unref);
    auto pending = std::make_shared<Pending>();
    pending->owner = this;
    auto alive = alive_;
    auto awaiter = Support::withContinuation<Message>(
        [this, message, pending](Support::Continuation<Message> c) {
            pending->continuation.emplace(c);
            int rc = sd_bus_call_async(
                bus_, &pending->slot, message.get(),
                [](sd_bus_message* reply, void* userdata, sd_bus_error* error) {
                    return onReply(reply, userdata, error);
                },
                pending.get(), 0);
            if (rc < 0) {
                pending->continuation.reset();
                c.fail(std::make_exception_ptr(
                    SdBusError(std::string("Couldn't send a D-Bus call: ") + std::strerror(-rc))));
                return;
            }
            pending_.insert(pending);
            flush();
        },
        [this, alive, pending] {
            if (*alive) {
                pending->continuation.reset();
                pending_.erase(pending);
            }
        });
    auto reply = co_await awaiter;
    co_return reply;
}

void SdBusConnection::sendAndForget(sd_bus_message* message) {
    sd_bus_message_set_expect_reply(message, 0);
    sd_bus_send(bus_, message, nullptr);
    flush();
}

} // namespace Platform::Linux

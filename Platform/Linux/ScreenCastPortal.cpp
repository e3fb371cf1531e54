#include "Platform/Linux/ScreenCastPortal.h"

#include <systemd/sd-bus.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <unistd.h>
#include <utility>

namespace Platform::Linux {

namespace {

constexpr const char* service = "org.freedesktop.portal.Desktop";
constexpr const char* objectPath = "/org/freedesktop/portal/desktop";
constexpr const char* interface = "org.freedesktop.portal.ScreenCast";

/// Types: 1 monitor. Cursor: 1 hidden (slides do not need it). Persist: 2 until revoked.
constexpr std::uint32_t monitorSource = 1;
constexpr std::uint32_t hiddenCursor = 1;
constexpr std::uint32_t persistUntilRevoked = 2;

std::atomic<unsigned> nextToken{0};

struct Bus {
    sd_bus* bus = nullptr;
    ~Bus() {
        if (bus) {
            sd_bus_flush_close_unref(bus);
        }
    }
};

struct Response {
    bool received = false;
    std::uint32_t code = 2;
    std::optional<std::string> sessionHandle;
    std::optional<std::string> restoreToken;
    std::optional<std::uint32_t> node;
};

/// Reads the stream list a(ua{sv}) and keeps the first node id.
void readStreams(sd_bus_message* m, Response& response) {
    if (sd_bus_message_enter_container(m, SD_BUS_TYPE_ARRAY, "(ua{sv})") < 0) {
        return;
    }
    while (sd_bus_message_enter_container(m, SD_BUS_TYPE_STRUCT, "ua{sv}") > 0) {
        std::uint32_t node = 0;
        if (sd_bus_message_read(m, "u", &node) >= 0 && !response.node) {
            response.node = node;
        }
        sd_bus_message_skip(m, "a{sv}");
        sd_bus_message_exit_container(m);
    }
    sd_bus_message_exit_container(m);
}

int onResponse(sd_bus_message* m, void* userdata, sd_bus_error*) {
    auto& response = *static_cast<Response*>(userdata);
    response.received = true;
    if (sd_bus_message_read(m, "u", &response.code) < 0 ||
        sd_bus_message_enter_container(m, SD_BUS_TYPE_ARRAY, "{sv}") < 0) {
        return 0;
    }
    while (sd_bus_message_enter_container(m, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
        const char* key = nullptr;
        sd_bus_message_read(m, "s", &key);
        std::string name = key ? key : "";
        const char* contents = nullptr;
        sd_bus_message_peek_type(m, nullptr, &contents);
        std::string type = contents ? contents : "";
        if ((name == "session_handle" || name == "restore_token") && type == "s") {
            const char* text = nullptr;
            sd_bus_message_read(m, "v", "s", &text);
            (name == "session_handle" ? response.sessionHandle : response.restoreToken) = text ? text : "";
        } else if (name == "streams" && type == "a(ua{sv})") {
            sd_bus_message_enter_container(m, SD_BUS_TYPE_VARIANT, "a(ua{sv})");
            readStreams(m, response);
            sd_bus_message_exit_container(m);
        } else {
            sd_bus_message_skip(m, "v");
        }
        sd_bus_message_exit_container(m);
    }
    sd_bus_message_exit_container(m);
    return 0;
}

std::string failure(const char* what, int error) {
    return std::string("The screen is not recorded: the screen-share portal could not be reached (") + what +
           ": " + std::strerror(-error) + ").";
}

/// The Request path the portal will answer on for `token`, from our unique name (":1.42" -> "1_42").
std::string requestPath(sd_bus* bus, const std::string& token) {
    const char* unique = nullptr;
    sd_bus_get_unique_name(bus, &unique);
    std::string sender = unique ? unique + 1 : "";
    for (auto& c : sender) {
        if (c == '.') {
            c = '_';
        }
    }
    return std::string(objectPath) + "/request/" + sender + "/" + token;
}

/// Calls `method`, whose arguments `append` adds after the handle token's options were opened, and waits
/// for the Response of its Request.
Response request(sd_bus* bus, const char* method, const std::function<void(sd_bus_message*)>& leading,
                 const std::function<void(sd_bus_message*)>& options, Support::Duration timeout) {
    auto token = "vellmora" + std::to_string(::getpid()) + "_" + std::to_string(nextToken++);
    Response response;
    sd_bus_slot* slot = nullptr;
    auto path = requestPath(bus, token);
    int r = sd_bus_match_signal(bus, &slot, nullptr, path.c_str(), "org.freedesktop.portal.Request",
                                "Response", onResponse, &response);
    if (r < 0) {
        throw ScreenCastPortal::Refused(failure("subscribing", r));
    }
    struct SlotGuard {
        sd_bus_slot* s;
        ~SlotGuard() { sd_bus_slot_unref(s); }
    } guard{slot};

    sd_bus_message* call = nullptr;
    sd_bus_message_new_method_call(bus, &call, service, objectPath, interface, method);
    leading(call);
    sd_bus_message_open_container(call, SD_BUS_TYPE_ARRAY, "{sv}");
    sd_bus_message_append(call, "{sv}", "handle_token", "s", token.c_str());
    options(call);
    sd_bus_message_close_container(call);
    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    r = sd_bus_call(bus, call, 0, &error, &reply);
    sd_bus_message_unref(call);
    if (r < 0) {
        std::string why = error.message ? error.message : std::strerror(-r);
        sd_bus_error_free(&error);
        throw ScreenCastPortal::Refused(
            "The screen is not recorded: the desktop has no screen-share portal (" + why + ").");
    }
    sd_bus_message_unref(reply);

    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!response.received) {
        auto left = deadline - std::chrono::steady_clock::now();
        if (left <= Support::Duration::zero()) {
            throw ScreenCastPortal::Refused(
                "The screen is not recorded: nobody answered the screen-share dialog in time.");
        }
        r = sd_bus_process(bus, nullptr);
        if (r < 0) {
            throw ScreenCastPortal::Refused(failure("reading", r));
        }
        if (r == 0) {
            sd_bus_wait(bus,
                        std::uint64_t(std::chrono::duration_cast<std::chrono::microseconds>(left).count()));
        }
    }
    if (response.code == 1) {
        throw ScreenCastPortal::Refused("The screen is not recorded: the screen share was cancelled.");
    }
    if (response.code != 0) {
        throw ScreenCastPortal::Refused("The screen is not recorded: the desktop refused the screen share.");
    }
    return response;
}

void none(sd_bus_message*) {}

} // namespace

ScreenCastPortal::Share::Share(sd_bus* bus, std::string session, int pipewireFd, std::uint32_t node,
                               std::optional<std::string> restoreToken)
    : bus_(bus), session_(std::move(session)), fd_(pipewireFd), node_(node),
      restoreToken_(std::move(restoreToken)) {}

ScreenCastPortal::Share::~Share() {
    fd_.reset();
    if (bus_) {
        sd_bus_call_method(bus_, service, session_.c_str(), "org.freedesktop.portal.Session", "Close",
                           nullptr, nullptr, "");
        sd_bus_flush_close_unref(bus_);
    }
}

std::unique_ptr<ScreenCastPortal::Share> ScreenCastPortal::open(const Options& options) {
    Bus bus;
    int r = sd_bus_new(&bus.bus);
    if (r >= 0 && options.address) {
        r = sd_bus_set_address(bus.bus, options.address->c_str());
    }
    if (r >= 0 && options.address) {
        sd_bus_set_bus_client(bus.bus, 1);
        r = sd_bus_start(bus.bus);
    } else if (r >= 0) {
        sd_bus_unref(bus.bus);
        bus.bus = nullptr;
        r = sd_bus_open_user(&bus.bus);
    }
    if (r < 0) {
        throw Refused(failure("connecting to the session bus", r));
    }

    auto sessionToken = "vellmora" + std::to_string(::getpid()) + "_s" + std::to_string(nextToken++);
    auto created = request(
        bus.bus, "CreateSession", none,
        [&](sd_bus_message* m) {
            sd_bus_message_append(m, "{sv}", "session_handle_token", "s", sessionToken.c_str());
        },
        options.timeout);
    if (!created.sessionHandle || created.sessionHandle->empty()) {
        throw Refused("The screen is not recorded: the screen-share portal gave no session.");
    }
    auto session = *created.sessionHandle;
    auto withSession = [&](sd_bus_message* m) { sd_bus_message_append(m, "o", session.c_str()); };

    request(
        bus.bus, "SelectSources", withSession,
        [&](sd_bus_message* m) {
            sd_bus_message_append(m, "{sv}", "types", "u", monitorSource);
            sd_bus_message_append(m, "{sv}", "multiple", "b", 0);
            sd_bus_message_append(m, "{sv}", "cursor_mode", "u", hiddenCursor);
            sd_bus_message_append(m, "{sv}", "persist_mode", "u", persistUntilRevoked);
            if (options.restoreToken && !options.restoreToken->empty()) {
                sd_bus_message_append(m, "{sv}", "restore_token", "s", options.restoreToken->c_str());
            }
        },
        options.timeout);

    auto started = request(
        bus.bus, "Start", [&](sd_bus_message* m) { sd_bus_message_append(m, "os", session.c_str(), ""); },
        none, options.timeout);
    if (!started.node) {
        throw Refused("The screen is not recorded: the screen share gave no screen.");
    }

    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    r = sd_bus_call_method(bus.bus, service, objectPath, interface, "OpenPipeWireRemote", &error, &reply,
                           "oa{sv}", session.c_str(), 0);
    int fd = -1;
    if (r >= 0) {
        int borrowed = -1;
        if (sd_bus_message_read(reply, "h", &borrowed) >= 0) {
            fd = ::fcntl(borrowed, F_DUPFD_CLOEXEC, 3);
        }
        sd_bus_message_unref(reply);
    }
    sd_bus_error_free(&error);
    if (fd < 0) {
        throw Refused("The screen is not recorded: the screen share gave no PipeWire connection.");
    }
    auto* connection = std::exchange(bus.bus, nullptr);
    return std::make_unique<Share>(connection, session, fd, *started.node, started.restoreToken);
}

} // namespace Platform::Linux

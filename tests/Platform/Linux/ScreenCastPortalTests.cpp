#include "Platform/Linux/ScreenCastPortal.h"

#include "Platform/Linux/PrivateBus.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <map>
#include <unistd.h>

using Platform::Linux::ScreenCastPortal;

namespace {

/// A stand-in for the desktop's ScreenCast portal: answers each request with a Response signal whose code
/// the test chooses, gives out a fresh restore token per share and remembers the one it was given.
struct StandInPortal {
    std::mutex mutex;
    std::uint32_t selectCode = 0;
    std::uint32_t startCode = 0;
    std::vector<std::string> tokensReceived;
    std::vector<std::uint32_t> persistModes;
    int shares = 0;

    static std::string requestPath(sd_bus_message* m, const std::string& token) {
        std::string sender = sd_bus_message_get_sender(m) + 1;
        for (auto& c : sender) {
            c = c == '.' ? '_' : c;
        }
        return "/org/freedesktop/portal/desktop/request/" + sender + "/" + token;
    }
    /// Reads an a{sv} of string and u32 values.
    static std::map<std::string, std::string> options(sd_bus_message* m) {
        std::map<std::string, std::string> out;
        sd_bus_message_enter_container(m, SD_BUS_TYPE_ARRAY, "{sv}");
        while (sd_bus_message_enter_container(m, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
            const char* key = nullptr;
            sd_bus_message_read(m, "s", &key);
            const char* type = nullptr;
            sd_bus_message_peek_type(m, nullptr, &type);
            if (std::string(type) == "s") {
                const char* text = nullptr;
                sd_bus_message_read(m, "v", "s", &text);
                out[key] = text;
            } else if (std::string(type) == "u") {
                std::uint32_t value = 0;
                sd_bus_message_read(m, "v", "u", &value);
                out[key] = std::to_string(value);
            } else {
                sd_bus_message_skip(m, "v");
            }
            sd_bus_message_exit_container(m);
        }
        sd_bus_message_exit_container(m);
        return out;
    }

    static int createSession(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto o = options(m);
        auto path = requestPath(m, o["handle_token"]);
        auto session = "/org/freedesktop/portal/desktop/session/x/" + o["session_handle_token"];
        sd_bus_reply_method_return(m, "o", path.c_str());
        (void)userdata;
        return sd_bus_emit_signal(sd_bus_message_get_bus(m), path.c_str(), "org.freedesktop.portal.Request",
                                  "Response", "ua{sv}", 0u, 1, "session_handle", "s", session.c_str());
    }
    static int selectSources(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto& self = *static_cast<StandInPortal*>(userdata);
        const char* session = nullptr;
        sd_bus_message_read(m, "o", &session);
        auto o = options(m);
        std::uint32_t code;
        {
            std::lock_guard lock(self.mutex);
            self.tokensReceived.push_back(o.count("restore_token") ? o["restore_token"] : "");
            self.persistModes.push_back(std::uint32_t(std::stoul(o["persist_mode"])));
            code = self.selectCode;
        }
        auto path = requestPath(m, o["handle_token"]);
        sd_bus_reply_method_return(m, "o", path.c_str());
        return sd_bus_emit_signal(sd_bus_message_get_bus(m), path.c_str(), "org.freedesktop.portal.Request",
                                  "Response", "ua{sv}", code, 0);
    }
    static int start(sd_bus_message* m, void* userdata, sd_bus_error*) {
        auto& self = *static_cast<StandInPortal*>(userdata);
        const char* session = nullptr;
        const char* parent = nullptr;
        sd_bus_message_read(m, "os", &session, &parent);
        auto o = options(m);
        std::uint32_t code;
        std::string token;
        {
            std::lock_guard lock(self.mutex);
            code = self.startCode;
            token = "token-" + std::to_string(++self.shares);
        }
        auto path = requestPath(m, o["handle_token"]);
        sd_bus_reply_method_return(m, "o", path.c_str());
        sd_bus_message* signal = nullptr;
        sd_bus_message_new_signal(sd_bus_message_get_bus(m), &signal, path.c_str(),
                                  "org.freedesktop.portal.Request", "Response");
        sd_bus_message_append(signal, "u", code);
        sd_bus_message_open_container(signal, SD_BUS_TYPE_ARRAY, "{sv}");
        if (code == 0) {
            sd_bus_message_open_container(signal, SD_BUS_TYPE_DICT_ENTRY, "sv");
            sd_bus_message_append(signal, "s", "streams");
            sd_bus_message_open_container(signal, SD_BUS_TYPE_VARIANT, "a(ua{sv})");
            sd_bus_message_append(signal, "a(ua{sv})", 1, 42u, 1, "source_type", "u", 1u);
            sd_bus_message_close_container(signal);
            sd_bus_message_close_container(signal);
            sd_bus_message_append(signal, "{sv}", "restore_token", "s", token.c_str());
        }
        sd_bus_message_close_container(signal);
        int r = sd_bus_send(nullptr, signal, nullptr);
        sd_bus_message_unref(signal);
        return r;
    }
    static int openPipeWireRemote(sd_bus_message* m, void*, sd_bus_error*) {
        int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        int r = sd_bus_reply_method_return(m, "h", fd);
        ::close(fd);
        return r;
    }
};

const sd_bus_vtable portalVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("CreateSession", "a{sv}", "o", StandInPortal::createSession, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("SelectSources", "oa{sv}", "o", StandInPortal::selectSources, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Start", "osa{sv}", "o", StandInPortal::start, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("OpenPipeWireRemote", "oa{sv}", "h", StandInPortal::openPipeWireRemote,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

struct ScreenCastHandshake : ::testing::Test {
    BusTest::PrivateBus bus;
    StandInPortal portal;
    std::unique_ptr<BusTest::ServiceThread> service;

    void SetUp() override {
        if (bus.address().empty()) {
            GTEST_SKIP() << "needs dbus-daemon";
        }
        service = std::make_unique<BusTest::ServiceThread>(
            bus.address(), "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
            "org.freedesktop.portal.ScreenCast", portalVtable, &portal);
    }
    ScreenCastPortal::Options options(std::optional<std::string> token = std::nullopt) {
        return {.address = bus.address(), .restoreToken = std::move(token), .timeout = Support::seconds(10)};
    }
};

TEST_F(ScreenCastHandshake, OpensASessionAndKeepsTheTokenThatTheNextShareReuses) {
    auto share = ScreenCastPortal::open(options());
    ASSERT_TRUE(share);
    EXPECT_EQ(share->node(), 42u);
    EXPECT_GE(share->pipewireFd(), 0);
    EXPECT_EQ(share->restoreToken(), "token-1");
    EXPECT_NE(share->session().find("/session/"), std::string::npos);

    auto again = ScreenCastPortal::open(options(share->restoreToken()));
    EXPECT_EQ(again->restoreToken(), "token-2");
    std::lock_guard lock(portal.mutex);
    EXPECT_EQ(portal.tokensReceived, (std::vector<std::string>{"", "token-1"}));
    EXPECT_EQ(portal.persistModes, (std::vector<std::uint32_t>{2, 2}));
}

TEST_F(ScreenCastHandshake, ARefusedOrCancelledDialogIsASentence) {
    struct Case {
        std::uint32_t select, start;
        const char* sentence;
    };
    const Case cases[] = {
        {0, 1, "The screen is not recorded: the screen share was cancelled."},
        {0, 2, "The screen is not recorded: the desktop refused the screen share."},
        {2, 0, "The screen is not recorded: the desktop refused the screen share."},
    };
    for (const auto& c : cases) {
        {
            std::lock_guard lock(portal.mutex);
            portal.selectCode = c.select;
            portal.startCode = c.start;
        }
        try {
            ScreenCastPortal::open(options());
            ADD_FAILURE() << "opened";
        } catch (const ScreenCastPortal::Refused& e) {
            EXPECT_STREQ(e.what(), c.sentence);
        }
    }
}

TEST(ScreenCastPortalMissing, ABusWithoutThePortalIsASentence) {
    BusTest::PrivateBus bus;
    if (bus.address().empty()) {
        GTEST_SKIP() << "needs dbus-daemon";
    }
    try {
        ScreenCastPortal::open({.address = bus.address(), .timeout = Support::seconds(5)});
        FAIL() << "opened";
    } catch (const ScreenCastPortal::Refused& e) {
        EXPECT_EQ(std::string(e.what()).rfind(
                      "The screen is not recorded: the desktop has no screen-share portal", 0),
                  0u)
            << e.what();
    }
}

} // namespace

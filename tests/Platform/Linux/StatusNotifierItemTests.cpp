#include "Platform/Linux/StatusNotifierItem.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <systemd/sd-bus.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <future>
#include <sys/wait.h>
#include <thread>

namespace {

/// A private session bus for the test suite: `dbus-daemon --session --fork`, killed at the end.
class PrivateBus {
public:
    PrivateBus() {
        FILE* p = ::popen("dbus-daemon --session --fork --print-address=1 --print-pid=1", "r");
        if (!p) {
            return;
        }
        char line[512];
        if (std::fgets(line, sizeof line, p)) {
            address_ = line;
            address_.erase(address_.find_last_not_of("\n") + 1);
        }
        if (std::fgets(line, sizeof line, p)) {
            pid_ = std::atoi(line);
        }
        ::pclose(p);
    }
    ~PrivateBus() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
        }
    }
    const std::string& address() const { return address_; }

private:
    std::string address_;
    pid_t pid_ = 0;
};

struct LayoutEntry {
    int id;
    std::string type;
    std::string label;
    bool enabled = true;
    std::string icon;
};

/// A second bus client, as a tray host would be: reads the layout and sends events, on its own thread.
class TrayHost {
public:
    explicit TrayHost(const std::string& address) {
        sd_bus_new(&bus_);
        sd_bus_set_address(bus_, address.c_str());
        sd_bus_set_bus_client(bus_, 1);
        sd_bus_start(bus_);
    }
    ~TrayHost() { sd_bus_flush_close_unref(bus_); }

    std::vector<LayoutEntry> layout(const std::string& service, uint32_t* revision = nullptr) {
        sd_bus_message* reply = nullptr;
        sd_bus_error error{};
        std::vector<LayoutEntry> entries;
        if (sd_bus_call_method(bus_, service.c_str(), "/MenuBar", "com.canonical.dbusmenu", "GetLayout",
                               &error, &reply, "iias", 0, -1, 0) < 0) {
            ADD_FAILURE() << "GetLayout failed: " << (error.message ? error.message : "");
            sd_bus_error_free(&error);
            return entries;
        }
        uint32_t rev = 0;
        sd_bus_message_read(reply, "u", &rev);
        if (revision) {
            *revision = rev;
        }
        sd_bus_message_enter_container(reply, 'r', "ia{sv}av");
        int32_t rootId = 0;
        sd_bus_message_read(reply, "i", &rootId);
        sd_bus_message_skip(reply, "a{sv}");
        sd_bus_message_enter_container(reply, 'a', "v");
        while (sd_bus_message_enter_container(reply, 'v', "(ia{sv}av)") > 0) {
            sd_bus_message_enter_container(reply, 'r', "ia{sv}av");
            LayoutEntry e{};
            e.type = "standard";
            sd_bus_message_read(reply, "i", &e.id);
            sd_bus_message_enter_container(reply, 'a', "{sv}");
            while (sd_bus_message_enter_container(reply, 'e', "sv") > 0) {
                const char* key = nullptr;
                sd_bus_message_read(reply, "s", &key);
                const std::string k = key;
                const char* contents = nullptr;
                sd_bus_message_peek_type(reply, nullptr, &contents);
                sd_bus_message_enter_container(reply, 'v', contents);
                if (std::string(contents) == "s") {
                    const char* v = nullptr;
                    sd_bus_message_read(reply, "s", &v);
                    if (k == "label") {
                        e.label = v;
                    } else if (k == "type") {
                        e.type = v;
                    } else if (k == "icon-name") {
                        e.icon = v;
                    }
                } else if (std::string(contents) == "b") {
                    int v = 0;
                    sd_bus_message_read(reply, "b", &v);
                    if (k == "enabled") {
                        e.enabled = v != 0;
                    }
                } else {
                    sd_bus_message_skip(reply, contents);
                }
                sd_bus_message_exit_container(reply);
                sd_bus_message_exit_container(reply);
            }
            sd_bus_message_exit_container(reply);
            sd_bus_message_skip(reply, "av");
            sd_bus_message_exit_container(reply);
            sd_bus_message_exit_container(reply);
            entries.push_back(e);
        }
        sd_bus_message_unref(reply);
        return entries;
    }

    bool call(const std::string& service, const char* method, int id, const char* event = nullptr) {
        sd_bus_error error{};
        int r = event ? sd_bus_call_method(bus_, service.c_str(), "/MenuBar", "com.canonical.dbusmenu",
                                           method, &error, nullptr, "isvu", id, event, "s", "", 0u)
                      : sd_bus_call_method(bus_, service.c_str(), "/MenuBar", "com.canonical.dbusmenu",
                                           method, &error, nullptr, "i", id);
        sd_bus_error_free(&error);
        return r >= 0;
    }

    std::string itemProperty(const std::string& service, const char* name) {
        char* value = nullptr;
        sd_bus_error error{};
        sd_bus_get_property_string(bus_, service.c_str(), "/StatusNotifierItem", "org.kde.StatusNotifierItem",
                                   name, &error, &value);
        sd_bus_error_free(&error);
        std::string out = value ? value : "";
        std::free(value);
        return out;
    }

private:
    sd_bus* bus_ = nullptr;
};

class StatusNotifierItemTest : public testing::Test {
protected:
    static inline std::unique_ptr<PrivateBus> bus;
    static void SetUpTestSuite() { bus = std::make_unique<PrivateBus>(); }
    static void TearDownTestSuite() { bus.reset(); }

    void SetUp() override {
        if (bus->address().empty()) {
            GTEST_SKIP() << "dbus-daemon could not be started";
        }
    }

    /// Runs `f` on another thread (a blocking bus call) while the main loop serves the item.
    template <typename F> auto whileServing(F f) {
        auto future = std::async(std::launch::async, std::move(f));
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (future.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready &&
               std::chrono::steady_clock::now() < giveUp) {
            loop.runOne(10);
        }
        return future.get();
    }

    Support::MainLoop loop;
};

Platform::Menu sampleMenu() {
    Platform::Menu menu;
    Platform::MenuItem header;
    header.kind = Platform::MenuItem::Kind::header;
    header.header = Platform::MenuHeaderView{"Vellmora", "Recording...", Platform::MenuColor::red, "1:05",
                                             "Transcribing..."};
    menu.items.push_back(header);
    menu.items.push_back(Platform::MenuItem::separator());
    Platform::MenuItem stop;
    stop.title = "Stop Recording";
    stop.keyEquivalent = "s";
    stop.symbolName = "stop.circle.fill";
    stop.action = "stopRecording";
    menu.items.push_back(stop);
    Platform::MenuItem saving;
    saving.title = "Open_Library";
    saving.isEnabled = false;
    saving.action = "openLibrary";
    menu.items.push_back(saving);
    return menu;
}

TEST_F(StatusNotifierItemTest, ExportsTheMenuLayoutForTheTray) {
    Platform::StatusNotifierItem item(bus->address());
    item.setMenu(sampleMenu());
    item.setIcon({"waveform.circle.fill", false, Platform::MenuColor::red, "Vellmora"});
    TrayHost host(bus->address());
    const auto name = item.busName();
    auto entries = whileServing([&] { return host.layout(name); });
    ASSERT_EQ(entries.size(), 5u);
    EXPECT_EQ(entries[0].label, "Recording...  1:05");
    EXPECT_FALSE(entries[0].enabled);
    EXPECT_EQ(entries[1].label, "⟳ Transcribing...");
    EXPECT_EQ(entries[2].type, "separator");
    EXPECT_EQ(entries[3].label, "Stop Recording");
    EXPECT_EQ(entries[3].icon, "media-playback-stop");
    EXPECT_TRUE(entries[3].enabled);
    EXPECT_EQ(entries[4].label, "Open__Library") << "underscores are not access keys";
    EXPECT_FALSE(entries[4].enabled);

    EXPECT_EQ(whileServing([&] { return host.itemProperty(name, "IconName"); }), "media-record");
    EXPECT_EQ(whileServing([&] { return host.itemProperty(name, "Status"); }), "NeedsAttention");
}

TEST_F(StatusNotifierItemTest, ReportsOpeningClickingAndClosing) {
    Platform::StatusNotifierItem item(bus->address());
    item.setMenu(sampleMenu());
    std::vector<std::string> events;
    auto opened = item.willOpen.connect([&] { events.emplace_back("open"); });
    auto closed = item.didClose.connect([&] { events.emplace_back("close"); });
    auto clicked =
        item.activated.connect([&](const Platform::MenuItem& i) { events.push_back("click " + i.action); });
    TrayHost host(bus->address());
    const auto name = item.busName();
    EXPECT_TRUE(whileServing([&] { return host.call(name, "AboutToShow", 0); }));
    EXPECT_TRUE(whileServing([&] { return host.call(name, "Event", 4, "clicked"); }));
    EXPECT_TRUE(whileServing([&] { return host.call(name, "Event", 0, "closed"); }));
    loop.runUntilIdle();
    EXPECT_EQ(events, (std::vector<std::string>{"open", "close", "click stopRecording"}))
        << "a click closes the menu; the tray's own \"closed\" then changes nothing";

    events.clear();
    EXPECT_TRUE(whileServing([&] { return host.call(name, "AboutToShow", 0); }));
    EXPECT_TRUE(whileServing([&] { return host.call(name, "Event", 0, "opened"); }));
    EXPECT_TRUE(whileServing([&] { return host.call(name, "Event", 0, "closed"); }));
    loop.runUntilIdle();
    EXPECT_EQ(events, (std::vector<std::string>{"open", "close"})) << "one opening, however the tray says it";
}

TEST(StatusNotifierItemIcons, MapsSymbolNamesToFreedesktopIconNames) {
    EXPECT_EQ(Platform::StatusNotifierItem::iconName("waveform.circle"), "audio-input-microphone");
    EXPECT_EQ(Platform::StatusNotifierItem::iconName("record.circle"), "media-record");
    EXPECT_EQ(Platform::StatusNotifierItem::iconName("power"), "application-exit");
    EXPECT_EQ(Platform::StatusNotifierItem::iconName("no.such.symbol"), "");
}

} // namespace

#include "Platform/Linux/StatusNotifierItem.h"

#include "Support/Log.h"
#include "Support/MainLoop.h"

#include <systemd/sd-bus.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace Platform {

namespace {

const Support::Logger& logger() {
    static const Support::Logger log("tray");
    return log;
}

/// One entry of the exported menu (ids from 1; 0 is the root).
struct Row {
    std::string type; // "standard" or "separator"
    std::string label;
    bool enabled = true;
    std::string icon;
    std::string shortcutKey;
    int source = -1; // index into the menu's items, for activation
};

std::string mnemonicEscaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        out += c;
        if (c == '_') {
            out += '_'; // dbusmenu treats one underscore as an access-key marker
        }
    }
    return out;
}

std::vector<Row> rowsFor(const Menu& menu) {
    std::vector<Row> rows;
    for (size_t i = 0; i < menu.items.size(); ++i) {
        const auto& item = menu.items[i];
        switch (item.kind) {
        case MenuItem::Kind::separator:
            rows.push_back({"separator", "", true, "", "", -1});
            break;
        case MenuItem::Kind::header:
            if (item.header) {
                std::string line = item.header->status;
                if (item.header->duration) {
                    line += "  " + *item.header->duration;
                }
                rows.push_back({"standard", mnemonicEscaped(line), false, "", "", -1});
                if (item.header->processing) {
                    rows.push_back(
                        {"standard", mnemonicEscaped("⟳ " + *item.header->processing), false, "", "", -1});
                }
            }
            break;
        case MenuItem::Kind::footer:
            rows.push_back({"standard", mnemonicEscaped(item.footerText), false, "", "", -1});
            break;
        case MenuItem::Kind::action:
            rows.push_back({"standard", mnemonicEscaped(item.title), item.isEnabled,
                            StatusNotifierItem::iconName(item.symbolName), item.keyEquivalent,
                            static_cast<int>(i)});
            break;
        }
    }
    return rows;
}

int appendProperties(sd_bus_message* m, const Row& row) {
    int r = sd_bus_message_open_container(m, 'a', "{sv}");
    auto text = [&](const char* key, const std::string& value) {
        if (r >= 0) {
            r = sd_bus_message_append(m, "{sv}", key, "s", value.c_str());
        }
    };
    auto flag = [&](const char* key, bool value) {
        if (r >= 0) {
            r = sd_bus_message_append(m, "{sv}", key, "b", static_cast<int>(value));
        }
    };
    if (row.type == "separator") {
        text("type", "separator");
    } else {
        text("label", row.label);
        flag("enabled", row.enabled);
        if (!row.icon.empty()) {
            text("icon-name", row.icon);
        }
        if (!row.shortcutKey.empty() && r >= 0) {
            r = sd_bus_message_append(m, "{sv}", "shortcut", "aas", 1, 2, "Control", row.shortcutKey.c_str());
        }
    }
    flag("visible", true);
    if (r >= 0) {
        r = sd_bus_message_close_container(m);
    }
    return r;
}

} // namespace

struct StatusNotifierItem::Impl {
    StatusNotifierItem* owner = nullptr;
    sd_bus* bus = nullptr;
    sd_bus_slot* itemSlot = nullptr;
    sd_bus_slot* menuSlot = nullptr;
    Support::Subscription watch;
    std::string name;
    StatusIcon icon{"waveform.circle", true, MenuColor::label, "Vellmora"};
    Menu menu;
    std::vector<Row> rows;
    uint32_t revision = 1;

    void process() {
        while (bus && sd_bus_process(bus, nullptr) > 0) {
        }
        if (bus) {
            sd_bus_flush(bus);
        }
    }

    // --- org.kde.StatusNotifierItem ---
    static int getText(sd_bus*, const char*, const char*, const char* property, sd_bus_message* reply,
                       void* data, sd_bus_error*) {
        auto* self = static_cast<Impl*>(data);
        std::string value;
        if (!std::strcmp(property, "Category")) {
            value = "ApplicationStatus";
        } else if (!std::strcmp(property, "Id")) {
            value = "vellmora";
        } else if (!std::strcmp(property, "Title")) {
            value = "Vellmora";
        } else if (!std::strcmp(property, "Status")) {
            value = self->icon.isTemplate ? "Active" : "NeedsAttention";
        } else if (!std::strcmp(property, "IconName") || !std::strcmp(property, "AttentionIconName")) {
            value = iconName(self->icon.symbolName);
        }
        return sd_bus_message_append(reply, "s", value.c_str());
    }
    static int getMenuPath(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                           sd_bus_error*) {
        return sd_bus_message_append(reply, "o", menuPath);
    }
    static int getItemIsMenu(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                             sd_bus_error*) {
        return sd_bus_message_append(reply, "b", 1);
    }
    static int ignoreClick(sd_bus_message* m, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(m, "");
    }

    // --- com.canonical.dbusmenu ---
    static int getVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                          sd_bus_error*) {
        return sd_bus_message_append(reply, "u", 3u);
    }
    static int getMenuText(sd_bus*, const char*, const char*, const char* property, sd_bus_message* reply,
                           void*, sd_bus_error*) {
        return sd_bus_message_append(reply, "s", !std::strcmp(property, "TextDirection") ? "ltr" : "normal");
    }
    static int getThemePath(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                            sd_bus_error*) {
        return sd_bus_message_append(reply, "as", 0);
    }

    int appendLayout(sd_bus_message* m, int id, int depth) const {
        int r = sd_bus_message_open_container(m, 'r', "ia{sv}av");
        if (r >= 0) {
            r = sd_bus_message_append(m, "i", id);
        }
        if (r < 0) {
            return r;
        }
        if (id == 0) {
            r = sd_bus_message_append(m, "a{sv}", 1, "children-display", "s", "submenu");
        } else {
            r = appendProperties(m, rows[static_cast<size_t>(id - 1)]);
        }
        if (r >= 0) {
            r = sd_bus_message_open_container(m, 'a', "v");
        }
        if (id == 0 && depth != 0) {
            for (size_t i = 0; r >= 0 && i < rows.size(); ++i) {
                r = sd_bus_message_open_container(m, 'v', "(ia{sv}av)");
                if (r >= 0) {
                    r = appendLayout(m, static_cast<int>(i + 1), depth - 1);
                }
                if (r >= 0) {
                    r = sd_bus_message_close_container(m);
                }
            }
        }
        if (r >= 0) {
            r = sd_bus_message_close_container(m);
        }
        if (r >= 0) {
            r = sd_bus_message_close_container(m);
        }
        return r;
    }

    static int getLayout(sd_bus_message* call, void* data, sd_bus_error* error) {
        auto* self = static_cast<Impl*>(data);
        int32_t parent = 0, depth = -1;
        int r = sd_bus_message_read(call, "ii", &parent, &depth);
        if (r < 0) {
            return r;
        }
        if (parent < 0 || static_cast<size_t>(parent) > self->rows.size()) {
            return sd_bus_error_set(error, "com.canonical.dbusmenu.Error.InvalidId", "No such menu entry");
        }
        sd_bus_message* reply = nullptr;
        r = sd_bus_message_new_method_return(call, &reply);
        if (r >= 0) {
            r = sd_bus_message_append(reply, "u", self->revision);
        }
        if (r >= 0) {
            r = self->appendLayout(reply, parent, depth);
        }
        if (r >= 0) {
            r = sd_bus_send(nullptr, reply, nullptr);
        }
        sd_bus_message_unref(reply);
        return r;
    }

    static int getGroupProperties(sd_bus_message* call, void* data, sd_bus_error*) {
        auto* self = static_cast<Impl*>(data);
        std::vector<int32_t> ids;
        int r = sd_bus_message_enter_container(call, 'a', "i");
        int32_t id = 0;
        while (r >= 0 && (r = sd_bus_message_read(call, "i", &id)) > 0) {
            ids.push_back(id);
        }
        if (r < 0) {
            return r;
        }
        if (ids.empty()) {
            for (size_t i = 0; i < self->rows.size(); ++i) {
                ids.push_back(static_cast<int32_t>(i + 1));
            }
        }
        sd_bus_message* reply = nullptr;
        r = sd_bus_message_new_method_return(call, &reply);
        if (r >= 0) {
            r = sd_bus_message_open_container(reply, 'a', "(ia{sv})");
        }
        for (auto i : ids) {
            if (r < 0 || i < 1 || static_cast<size_t>(i) > self->rows.size()) {
                continue;
            }
            r = sd_bus_message_open_container(reply, 'r', "ia{sv}");
            if (r >= 0) {
                r = sd_bus_message_append(reply, "i", i);
            }
            if (r >= 0) {
                r = appendProperties(reply, self->rows[static_cast<size_t>(i - 1)]);
            }
            if (r >= 0) {
                r = sd_bus_message_close_container(reply);
            }
        }
        if (r >= 0) {
            r = sd_bus_message_close_container(reply);
        }
        if (r >= 0) {
            r = sd_bus_send(nullptr, reply, nullptr);
        }
        sd_bus_message_unref(reply);
        return r;
    }

    void handleEvent(int32_t id, const std::string& event) {
        if (id == 0 && event == "opened") {
            owner->willOpen.emit();
        } else if (id == 0 && event == "closed") {
            owner->didClose.emit();
        } else if (event == "clicked" && id >= 1 && static_cast<size_t>(id) <= rows.size()) {
            const int source = rows[static_cast<size_t>(id - 1)].source;
            if (source >= 0 && static_cast<size_t>(source) < menu.items.size()) {
                const MenuItem item = menu.items[static_cast<size_t>(source)];
                owner->activated.emit(item);
            }
        }
    }

    static int event(sd_bus_message* call, void* data, sd_bus_error*) {
        auto* self = static_cast<Impl*>(data);
        int32_t id = 0;
        const char* eventId = nullptr;
        int r = sd_bus_message_read(call, "is", &id, &eventId);
        if (r < 0) {
            return r;
        }
        const std::string eventName = eventId ? eventId : "";
        r = sd_bus_reply_method_return(call, "");
        // Handlers may change the menu; run them after the reply is queued.
        self->handleEvent(id, eventName);
        return r;
    }

    static int aboutToShow(sd_bus_message* call, void* data, sd_bus_error*) {
        auto* self = static_cast<Impl*>(data);
        int32_t id = 0;
        int r = sd_bus_message_read(call, "i", &id);
        if (r < 0) {
            return r;
        }
        const uint32_t before = self->revision;
        if (id == 0) {
            self->owner->willOpen.emit();
        }
        return sd_bus_reply_method_return(call, "b", static_cast<int>(self->revision != before));
    }

    static const sd_bus_vtable* itemVtable() {
        static const sd_bus_vtable table[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_PROPERTY("Category", "s", getText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("Id", "s", getText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("Title", "s", getText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("Status", "s", getText, 0, 0),
            SD_BUS_PROPERTY("IconName", "s", getText, 0, 0),
            SD_BUS_PROPERTY("AttentionIconName", "s", getText, 0, 0),
            SD_BUS_PROPERTY("Menu", "o", getMenuPath, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("ItemIsMenu", "b", getItemIsMenu, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_METHOD("Activate", "ii", "", ignoreClick, 0),
            SD_BUS_METHOD("SecondaryActivate", "ii", "", ignoreClick, 0),
            SD_BUS_METHOD("ContextMenu", "ii", "", ignoreClick, 0),
            SD_BUS_METHOD("Scroll", "is", "", ignoreClick, 0),
            SD_BUS_SIGNAL("NewIcon", "", 0),
            SD_BUS_SIGNAL("NewStatus", "s", 0),
            SD_BUS_VTABLE_END,
        };
        return table;
    }

    static const sd_bus_vtable* menuVtable() {
        static const sd_bus_vtable table[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_PROPERTY("Version", "u", getVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("TextDirection", "s", getMenuText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("Status", "s", getMenuText, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_PROPERTY("IconThemePath", "as", getThemePath, 0, SD_BUS_VTABLE_PROPERTY_CONST),
            SD_BUS_METHOD("GetLayout", "iias", "u(ia{sv}av)", getLayout, 0),
            SD_BUS_METHOD("GetGroupProperties", "aias", "a(ia{sv})", getGroupProperties, 0),
            SD_BUS_METHOD("Event", "isvu", "", event, 0),
            SD_BUS_METHOD("AboutToShow", "i", "b", aboutToShow, 0),
            SD_BUS_SIGNAL("LayoutUpdated", "ui", 0),
            SD_BUS_SIGNAL("ItemsPropertiesUpdated", "a(ia{sv})a(ias)", 0),
            SD_BUS_VTABLE_END,
        };
        return table;
    }

    void emitLayoutUpdated() {
        if (bus) {
            sd_bus_emit_signal(bus, menuPath, "com.canonical.dbusmenu", "LayoutUpdated", "ui", revision, 0);
            sd_bus_flush(bus);
        }
    }
};

StatusNotifierItem::StatusNotifierItem(const std::string& busAddress) : impl_(std::make_unique<Impl>()) {
    impl_->owner = this;
    int r = 0;
    if (busAddress.empty()) {
        r = sd_bus_open_user(&impl_->bus);
    } else {
        r = sd_bus_new(&impl_->bus);
        if (r >= 0) {
            r = sd_bus_set_address(impl_->bus, busAddress.c_str());
        }
        if (r >= 0) {
            r = sd_bus_set_bus_client(impl_->bus, 1);
        }
        if (r >= 0) {
            r = sd_bus_start(impl_->bus);
        }
    }
    if (r < 0) {
        sd_bus_unref(impl_->bus);
        impl_->bus = nullptr;
        throw std::runtime_error(std::string("Could not connect to the session bus: ") + std::strerror(-r));
    }
    static int instance = 0;
    impl_->name =
        "org.kde.StatusNotifierItem-" + std::to_string(::getpid()) + "-" + std::to_string(++instance);
    sd_bus_add_object_vtable(impl_->bus, &impl_->itemSlot, itemPath, "org.kde.StatusNotifierItem",
                             Impl::itemVtable(), impl_.get());
    sd_bus_add_object_vtable(impl_->bus, &impl_->menuSlot, menuPath, "com.canonical.dbusmenu",
                             Impl::menuVtable(), impl_.get());
    r = sd_bus_request_name(impl_->bus, impl_->name.c_str(), 0);
    if (r < 0) {
        logger().warning("Could not own {}: {}", impl_->name, std::strerror(-r));
    }
    // Without a watcher (no tray running) the call fails; the item stays exported for a later watcher.
    sd_bus_call_method_async(impl_->bus, nullptr, "org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                             "org.kde.StatusNotifierWatcher", "RegisterStatusNotifierItem", nullptr, nullptr,
                             "s", impl_->name.c_str());
    impl_->watch = Support::MainLoop::current().watchReadable(sd_bus_get_fd(impl_->bus),
                                                              [impl = impl_.get()] { impl->process(); });
    impl_->process();
}

StatusNotifierItem::~StatusNotifierItem() {
    impl_->watch.reset();
    sd_bus_slot_unref(impl_->itemSlot);
    sd_bus_slot_unref(impl_->menuSlot);
    if (impl_->bus) {
        sd_bus_flush_close_unref(impl_->bus);
    }
}

const std::string& StatusNotifierItem::busName() const {
    return impl_->name;
}

void StatusNotifierItem::setIcon(const StatusIcon& icon) {
    if (icon == impl_->icon) {
        return;
    }
    impl_->icon = icon;
    sd_bus_emit_signal(impl_->bus, itemPath, "org.kde.StatusNotifierItem", "NewIcon", "");
    sd_bus_emit_signal(impl_->bus, itemPath, "org.kde.StatusNotifierItem", "NewStatus", "s",
                       icon.isTemplate ? "Active" : "NeedsAttention");
    sd_bus_flush(impl_->bus);
}

void StatusNotifierItem::setMenu(const Menu& menu) {
    impl_->menu = menu;
    impl_->rows = rowsFor(menu);
    ++impl_->revision;
    impl_->emitLayoutUpdated();
}

std::string StatusNotifierItem::iconName(const std::string& symbolName) {
    static const std::map<std::string, std::string> names = {
        {"waveform.circle", "audio-input-microphone"},
        {"waveform.circle.fill", "media-record"},
        {"gearshape.circle.fill", "emblem-synchronizing"},
        {"waveform.badge.magnifyingglass", "system-search"},
        {"record.circle", "media-record"},
        {"stop.circle.fill", "media-playback-stop"},
        {"hourglass", "process-working"},
        {"bookmark.fill", "bookmark-new"},
        {"rectangle.stack.fill", "folder"},
        {"checklist", "view-list"},
        {"sparkles", "starred"},
        {"arrow.clockwise.circle.fill", "view-refresh"},
        {"arrow.down.circle.fill", "software-update-available"},
        {"arrow.down.circle", "system-software-update"},
        {"gearshape.fill", "preferences-system"},
        {"power", "application-exit"},
        {"video", "camera-video"},
    };
    auto it = names.find(symbolName);
    return it == names.end() ? std::string() : it->second;
}

} // namespace Platform

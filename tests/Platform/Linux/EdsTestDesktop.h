// A private GNOME calendar service for tests: a private session bus (`dbus-daemon --session`) with the real
// `evolution-source-registry` and `evolution-calendar-factory`, run against temporary HOME and XDG folders,
// and helpers that create calendars and events through libedataserver and libecal themselves.
//
// One desktop per test process (GLib keeps one session bus connection for the process): the first
// `Desktop::shared()` points the process's HOME, XDG folders and DBUS_SESSION_BUS_ADDRESS at it and starts
// the services; they end, and the folders go, when the process exits. `problem()` says why it could not
// start (the services are not installed); tests then skip.
#pragma once

#include "Platform/Linux/PrivateBus.h"

#include <libecal/libecal.h>
#include <libedataserver/libedataserver.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VELLMORA_HAS_TSAN 1
#endif
#endif
#ifndef VELLMORA_HAS_TSAN
#define VELLMORA_HAS_TSAN 0
#endif

namespace EdsTest {

class Desktop {
public:
    static Desktop& shared() {
        static Desktop desktop;
        return desktop;
    }

    const std::string& problem() const { return problem_; }
    ESourceRegistry* registry() const { return registry_; }
    const std::filesystem::path& home() const { return home_; }

    /// A local calendar ("On This Computer") with a name and a colour; the registry's own copy.
    ESource* createLocalCalendar(const std::string& name, const std::string& color) {
        GError* error = nullptr;
        ESource* source = e_source_new(nullptr, nullptr, &error);
        check(source != nullptr, error);
        e_source_set_display_name(source, name.c_str());
        e_source_set_parent(source, "local-stub");
        auto* calendar =
            static_cast<ESourceSelectable*>(e_source_get_extension(source, E_SOURCE_EXTENSION_CALENDAR));
        e_source_backend_set_backend_name(E_SOURCE_BACKEND(calendar), "local");
        e_source_selectable_set_color(calendar, color.c_str());
        GList* list = g_list_append(nullptr, source);
        check(e_source_registry_create_sources_sync(registry_, list, nullptr, &error), error);
        g_list_free(list);
        ESource* registered = e_source_registry_ref_source(registry_, e_source_get_uid(source));
        g_object_unref(source);
        if (!registered) {
            throw std::runtime_error("the new calendar did not appear in the registry");
        }
        return registered;
    }

    /// The user's mail identity, whose address marks the user among the attendees.
    void addIdentity(const std::string& address) {
        GError* error = nullptr;
        ESource* source = e_source_new(nullptr, nullptr, &error);
        check(source != nullptr, error);
        e_source_set_display_name(source, address.c_str());
        auto* identity = static_cast<ESourceMailIdentity*>(
            e_source_get_extension(source, E_SOURCE_EXTENSION_MAIL_IDENTITY));
        e_source_mail_identity_set_address(identity, address.c_str());
        GList* list = g_list_append(nullptr, source);
        check(e_source_registry_create_sources_sync(registry_, list, nullptr, &error), error);
        g_list_free(list);
        g_object_unref(source);
    }

    ECalClient* connect(ESource* source) {
        GError* error = nullptr;
        auto* client = e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS,
                                                 static_cast<guint32>(-1), nullptr, &error);
        check(client != nullptr, error);
        return E_CAL_CLIENT(client);
    }

    static ICalComponent* component(const std::string& vevent) {
        auto* c = i_cal_component_new_from_string(vevent.c_str());
        if (!c) {
            throw std::runtime_error("not a component: " + vevent);
        }
        return c;
    }

    static void create(ECalClient* client, const std::string& vevent) {
        auto* c = component(vevent);
        GError* error = nullptr;
        gchar* uid = nullptr;
        bool ok =
            e_cal_client_create_object_sync(client, c, E_CAL_OPERATION_FLAG_NONE, &uid, nullptr, &error);
        g_free(uid);
        g_object_unref(c);
        check(ok, error);
    }

    /// Changes one occurrence (the component carries its RECURRENCE-ID) or a whole single event.
    static void modify(ECalClient* client, const std::string& vevent, ECalObjModType mod) {
        auto* c = component(vevent);
        GError* error = nullptr;
        bool ok = e_cal_client_modify_object_sync(client, c, mod, E_CAL_OPERATION_FLAG_NONE, nullptr, &error);
        g_object_unref(c);
        check(ok, error);
    }

    static void remove(ECalClient* client, const std::string& uid) {
        GError* error = nullptr;
        check(e_cal_client_remove_object_sync(client, uid.c_str(), nullptr, E_CAL_OBJ_MOD_ALL,
                                              E_CAL_OPERATION_FLAG_NONE, nullptr, &error),
              error);
    }

    void setEnabled(ESource* source, bool enabled) {
        GError* error = nullptr;
        e_source_set_enabled(source, enabled);
        check(e_source_write_sync(source, nullptr, &error), error);
    }

    static void check(bool ok, GError* error) {
        if (!ok) {
            std::string message = error && error->message ? error->message : "failed";
            g_clear_error(&error);
            throw std::runtime_error(message);
        }
    }

private:
    Desktop() {
        char pattern[] = "/tmp/vellmora-eds-XXXXXX";
        home_ = ::mkdtemp(pattern);
        for (const char* sub : {"data", "config", "cache", "runtime"}) {
            std::filesystem::create_directories(home_ / sub);
        }
        std::filesystem::permissions(home_ / "runtime", std::filesystem::perms::owner_all);
        ::setenv("HOME", home_.c_str(), 1);
        ::setenv("XDG_DATA_HOME", (home_ / "data").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home_ / "config").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (home_ / "cache").c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", (home_ / "runtime").c_str(), 1);
        ::setenv("GSETTINGS_BACKEND", "memory", 1); // no dconf: it would look for the user's own bus
#if defined(__SANITIZE_THREAD__) || VELLMORA_HAS_TSAN
        // GLib locks with futexes of its own, which ThreadSanitizer cannot see: every hand-over between
        // GLib's threads and ours would be reported, whatever our code does.
        problem_ = "ThreadSanitizer cannot see GLib's locks";
        return;
#endif
        for (const char* program : {registryProgram, factoryProgram}) {
            if (::access(program, X_OK) != 0) {
                problem_ = std::string(program) + " is not installed (apt-get install evolution-data-server)";
                return;
            }
        }
        bus_ = std::make_unique<BusTest::PrivateBus>();
        if (bus_->address().empty()) {
            problem_ = "dbus-daemon did not start";
            return;
        }
        ::setenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().c_str(), 1);
        // One service after the other: the factory asks for the registry at once, and the bus would start a
        // second registry if ours did not own its name yet. Each is waited for on the bus, not on a clock.
        const std::pair<const char*, const char*> services[] = {
            {registryProgram, "org.gnome.evolution.dataserver.Sources5"},
            {factoryProgram, "org.gnome.evolution.dataserver.Calendar8"}};
        const pid_t test = ::getpid();
        for (const auto& [program, name] : services) {
            pid_t pid = ::fork();
            if (pid == 0) {
                BusTest::dieWithTest(test);
                auto log = (home_ / (std::filesystem::path(program).filename().string() + ".log")).string();
                if (FILE* f = std::fopen(log.c_str(), "w")) {
                    ::dup2(::fileno(f), 1);
                    ::dup2(::fileno(f), 2);
                }
                ::execl(program, program, nullptr);
                ::_exit(127);
            }
            children_.push_back(pid);
            std::string command = std::string("gdbus wait --session --timeout 30 ") + name;
            if (std::system(command.c_str()) != 0) {
                problem_ = std::string(name) + " did not appear on the private bus";
                return;
            }
        }
        GError* error = nullptr;
        registry_ = e_source_registry_new_sync(nullptr, &error);
        if (!registry_) {
            problem_ = error && error->message ? error->message : "no source registry";
            g_clear_error(&error);
        }
    }

    ~Desktop() {
        if (registry_) {
            g_object_unref(registry_);
        }
        for (auto pid : children_) {
            ::kill(pid, SIGTERM);
            ::waitpid(pid, nullptr, 0);
        }
        bus_.reset();
        std::error_code ec;
        std::filesystem::remove_all(home_, ec);
    }

    static constexpr const char* registryProgram = "/usr/libexec/evolution-source-registry";
    static constexpr const char* factoryProgram = "/usr/libexec/evolution-calendar-factory";

    std::filesystem::path home_;
    std::unique_ptr<BusTest::PrivateBus> bus_;
    std::vector<pid_t> children_;
    ESourceRegistry* registry_ = nullptr;
    std::string problem_;
};

} // namespace EdsTest

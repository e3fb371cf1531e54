#include "Platform/Linux/EdsCalendarStore.h"

#include "Platform/Linux/DesktopCalendars.h"
#include "Platform/Linux/EdsEventConversion.h"
#include "Platform/Linux/EdsSourceDescription.h"
#include "Support/BlockingWork.h"
#include "Support/Log.h"
#include "Support/MainLoop.h"
#include "Support/Text.h"

#include <libecal/libecal.h>
#include <libedataserver/libedataserver.h>

#include <chrono>
#include <ctime>
#include <future>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

namespace Platform {

namespace {

const Support::Logger log("eds");

std::string text(const char* s) {
    return s ? std::string(s) : std::string();
}

std::string errorText(const GError* error, std::string_view fallback) {
    return error && error->message ? std::string(error->message) : std::string(fallback);
}

template <typename T> T* extension(ESource* source, const char* name) {
    return e_source_has_extension(source, name) ? static_cast<T*>(e_source_get_extension(source, name))
                                                : nullptr;
}

std::string backendOf(ESource* source) {
    if (auto* collection = extension<ESourceBackend>(source, E_SOURCE_EXTENSION_COLLECTION)) {
        return text(e_source_backend_get_backend_name(collection));
    }
    if (auto* calendar = extension<ESourceBackend>(source, E_SOURCE_EXTENSION_CALENDAR)) {
        return text(e_source_backend_get_backend_name(calendar));
    }
    return "";
}

bool isStubBackend(const std::string& backend) {
    return backend.size() > 5 && backend.compare(backend.size() - 5, 5, "-stub") == 0;
}

std::string lowered(std::string s) {
    return Support::Text::asciiLowercased(s);
}

/// Runs a closure on the thread of a GLib main context (at once when called there).
void invokeOn(GMainContext* context, std::function<void()> work) {
    auto* fn = new std::function<void()>(std::move(work));
    g_main_context_invoke_full(
        context, G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_REMOVE;
        },
        fn, [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}

std::chrono::milliseconds millis(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace

struct EdsCalendarStore::Impl : std::enable_shared_from_this<Impl> {
    struct Calendar {
        ECalClient* client = nullptr;
        ECalClientView* view = nullptr;
        std::vector<gulong> viewHandlers;
        ESource* source = nullptr;
        gulong statusHandler = 0;
    };

    Options options;
    Support::MainLoop* mainLoop = nullptr;
    GMainContext* context = nullptr;
    GMainLoop* loop = nullptr;
    GCancellable* connecting = nullptr;
    std::thread thread;

    // The store's thread only.
    ESourceRegistry* registry = nullptr;
    std::vector<gulong> registryHandlers;
    std::map<std::string, Calendar> open;
    std::map<std::string, std::set<std::string>> addressesByCalendar;
    std::set<std::string> identityAddresses;
    GSource* pendingChange = nullptr;

    // Any thread.
    mutable std::mutex mutex;
    std::vector<CalendarDescriptor> catalogue;
    std::map<std::string, std::string> problems;
    bool stopped = false;

    // The main loop.
    Support::Signal<> changed;

    ~Impl() {
        if (connecting) {
            g_object_unref(connecting);
        }
        if (loop) {
            g_main_loop_unref(loop);
        }
        if (context) {
            g_main_context_unref(context);
        }
    }

    // ---- thread ---------------------------------------------------------------------------------------

    /// The thread's body: connects, reports through `ready`, then serves until `stop`.
    void serve(std::promise<std::string>& ready) {
        g_main_context_push_thread_default(context);
        GError* error = nullptr;
        registry = e_source_registry_new_sync(connecting, &error);
        if (!registry) {
            ready.set_value(errorText(error, "the source registry did not answer"));
            g_clear_error(&error);
            g_main_context_pop_thread_default(context);
            return;
        }
        auto onSource = G_CALLBACK(+[](ESourceRegistry*, ESource* source, gpointer self) {
            static_cast<Impl*>(self)->sourceChanged(source);
        });
        for (const char* signal :
             {"source-added", "source-removed", "source-changed", "source-enabled", "source-disabled"}) {
            registryHandlers.push_back(g_signal_connect(registry, signal, onSource, this));
        }
        rebuild();
        ready.set_value("");
        g_main_loop_run(loop);
        teardown();
        g_main_context_pop_thread_default(context);
    }

    void teardown() {
        if (pendingChange) {
            g_source_destroy(pendingChange);
            g_source_unref(pendingChange);
            pendingChange = nullptr;
        }
        for (auto& [uid, calendar] : open) {
            close(calendar);
        }
        open.clear();
        for (auto id : registryHandlers) {
            g_signal_handler_disconnect(registry, id);
        }
        g_clear_object(&registry);
    }

    void close(Calendar& c) {
        if (c.view) {
            for (auto id : c.viewHandlers) {
                g_signal_handler_disconnect(c.view, id);
            }
            e_cal_client_view_stop(c.view, nullptr);
            g_object_unref(c.view);
        }
        if (c.source) {
            if (c.statusHandler) {
                g_signal_handler_disconnect(c.source, c.statusHandler);
            }
            g_object_unref(c.source);
        }
        if (c.client) {
            g_object_unref(c.client);
        }
        c = Calendar{};
    }

    void sourceChanged(ESource* source) {
        if (!e_source_has_extension(source, E_SOURCE_EXTENSION_CALENDAR) &&
            !e_source_has_extension(source, E_SOURCE_EXTENSION_COLLECTION) &&
            !e_source_has_extension(source, E_SOURCE_EXTENSION_MAIL_IDENTITY)) {
            return; // address books, mail accounts, proxies
        }
        rebuild();
        scheduleChange();
    }

    /// Coalesces the changes of `debounceSeconds` into one call of the observers.
    void scheduleChange() {
        if (pendingChange) {
            return;
        }
        pendingChange = g_timeout_source_new(static_cast<guint>(options.debounceSeconds * 1000));
        g_source_set_callback(
            pendingChange,
            [](gpointer self) -> gboolean {
                auto* impl = static_cast<Impl*>(self);
                g_source_unref(impl->pendingChange);
                impl->pendingChange = nullptr;
                impl->announce();
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_source_attach(pendingChange, context);
    }

    void announce() {
        if (!mainLoop) {
            return;
        }
        std::weak_ptr<Impl> weak = weak_from_this();
        mainLoop->post([weak] {
            if (auto self = weak.lock()) {
                self->changed.emit();
            }
        });
    }

    EdsSourceFacts factsOf(ESource* source) {
        EdsSourceFacts f;
        f.uid = text(e_source_get_uid(source));
        f.displayName = text(e_source_get_display_name(source));
        auto* calendar = extension<ESourceSelectable>(source, E_SOURCE_EXTENSION_CALENDAR);
        f.backend = calendar ? text(e_source_backend_get_backend_name(E_SOURCE_BACKEND(calendar))) : "";
        f.color = calendar ? text(e_source_selectable_get_color(calendar)) : "";
        ESource* parent = nullptr;
        if (const char* parentUID = e_source_get_parent(source); parentUID && *parentUID) {
            parent = e_source_registry_ref_source(registry, parentUID);
        }
        if (parent) {
            f.parentUID = text(e_source_get_uid(parent));
            f.parentDisplayName = text(e_source_get_display_name(parent));
            f.parentBackend = backendOf(parent);
        }
        for (ESource* s : {source, parent}) {
            if (!s) {
                continue;
            }
            if (auto* auth = extension<ESourceAuthentication>(s, E_SOURCE_EXTENSION_AUTHENTICATION)) {
                if (f.host.empty()) {
                    f.host = text(e_source_authentication_get_host(auth));
                }
                if (f.user.empty()) {
                    f.user = text(e_source_authentication_get_user(auth));
                }
            }
            if (auto* collection = extension<ESourceCollection>(s, E_SOURCE_EXTENSION_COLLECTION)) {
                if (f.user.empty()) {
                    f.user = text(e_source_collection_get_identity(collection));
                }
            }
        }
        if (auto* webdav = extension<ESourceWebdav>(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND);
            webdav && f.host.empty()) {
            if (GUri* uri = e_source_webdav_dup_uri(webdav)) {
                f.host = text(g_uri_get_host(uri));
                g_uri_unref(uri);
            }
        }
        // The calendar's own addresses: CalDAV's calendar-user address and an address-like sign-in.
        auto& addresses = addressesByCalendar[f.uid];
        addresses.clear();
        if (auto* webdav = extension<ESourceWebdav>(source, E_SOURCE_EXTENSION_WEBDAV_BACKEND)) {
            if (auto email = text(e_source_webdav_get_email_address(webdav)); !email.empty()) {
                addresses.insert(lowered(email));
            }
        }
        if (f.user.find('@') != std::string::npos) {
            addresses.insert(lowered(f.user));
        }
        if (parent) {
            g_object_unref(parent);
        }
        return f;
    }

    /// Reads the enabled calendars again, and opens or closes their views.
    void rebuild() {
        identityAddresses.clear();
        GList* identities = e_source_registry_list_enabled(registry, E_SOURCE_EXTENSION_MAIL_IDENTITY);
        for (GList* l = identities; l; l = l->next) {
            auto* identity = static_cast<ESourceMailIdentity*>(
                e_source_get_extension(E_SOURCE(l->data), E_SOURCE_EXTENSION_MAIL_IDENTITY));
            if (auto address = text(e_source_mail_identity_get_address(identity)); !address.empty()) {
                identityAddresses.insert(lowered(address));
            }
        }
        g_list_free_full(identities, g_object_unref);

        std::vector<CalendarDescriptor> next;
        std::set<std::string> enabled;
        GList* sources = e_source_registry_list_enabled(registry, E_SOURCE_EXTENSION_CALENDAR);
        for (GList* l = sources; l; l = l->next) {
            auto* source = E_SOURCE(l->data);
            auto facts = factsOf(source);
            if (isStubBackend(facts.backend)) {
                continue; // the built-in groups ("CalDAV", "On This Computer") hold no events
            }
            auto d = EdsSourceDescription::describe(facts);
            switch (e_source_get_connection_status(source)) {
            case E_SOURCE_CONNECTION_STATUS_AWAITING_CREDENTIALS:
                d.isReadable = false;
                d.problem = "the account needs a password (sign in again in Settings → Online Accounts)";
                break;
            case E_SOURCE_CONNECTION_STATUS_SSL_FAILED:
                d.isReadable = false;
                d.problem = "the server's certificate is not trusted";
                break;
            default:
                break;
            }
            enabled.insert(d.id);
            next.push_back(std::move(d));
            if (options.watchForChanges && open.count(facts.uid) == 0) {
                watch(source);
            }
        }
        g_list_free_full(sources, g_object_unref);
        for (auto it = open.begin(); it != open.end();) {
            if (enabled.count(it->first) == 0) {
                close(it->second);
                it = open.erase(it);
            } else {
                ++it;
            }
        }
        std::lock_guard lock(mutex);
        for (auto& d : next) {
            if (auto p = problems.find(d.id); p != problems.end() && d.isReadable) {
                d.isReadable = false;
                d.problem = p->second;
            }
        }
        catalogue = std::move(next);
    }

    void setProblem(const std::string& uid, const std::string& problem) {
        std::lock_guard lock(mutex);
        bool had = problems.erase(uid) > 0;
        if (!problem.empty()) {
            problems[uid] = problem;
        }
        for (auto& d : catalogue) {
            if (d.id != uid) {
                continue;
            }
            if (!problem.empty()) {
                d.isReadable = false;
                d.problem = problem;
            } else if (had) {
                d.isReadable = true;
                d.problem.clear();
            }
        }
    }

    /// The calendar's client, connected on first use; null with `problem` set when it cannot be opened.
    ECalClient* clientFor(const std::string& uid, GCancellable* cancel, std::string& problem) {
        if (auto it = open.find(uid); it != open.end() && it->second.client) {
            return it->second.client;
        }
        ESource* source = e_source_registry_ref_source(registry, uid.c_str());
        if (!source) {
            problem = "the calendar was removed";
            return nullptr;
        }
        GError* error = nullptr;
        auto* client = E_CAL_CLIENT(e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS,
                                                              static_cast<guint32>(-1), cancel, &error));
        if (!client) {
            problem = "it cannot be opened: " + errorText(error, "unknown error");
            g_clear_error(&error);
            g_object_unref(source);
            return nullptr;
        }
        if (auto* zone = userZone()) {
            e_cal_client_set_default_timezone(client, zone);
        }
        auto& calendar = open[uid];
        calendar.client = client;
        if (!calendar.source) {
            calendar.source = source;
        } else {
            g_object_unref(source);
        }
        return client;
    }

    ICalTimezone* userZone() {
        if (options.timeZoneID.empty()) {
            return i_cal_timezone_get_utc_timezone();
        }
        auto* zone = i_cal_timezone_get_builtin_timezone(options.timeZoneID.c_str());
        return zone ? zone : i_cal_timezone_get_utc_timezone();
    }

    /// Opens the calendar and a client view that reports changes only (not the events already there).
    void watch(ESource* source) {
        std::string uid = text(e_source_get_uid(source));
        auto& calendar = open[uid];
        if (!calendar.source) {
            calendar.source = E_SOURCE(g_object_ref(source));
            calendar.statusHandler = g_signal_connect(source, "notify::connection-status",
                                                      G_CALLBACK(+[](GObject*, GParamSpec*, gpointer self) {
                                                          auto* impl = static_cast<Impl*>(self);
                                                          impl->rebuild();
                                                          impl->scheduleChange();
                                                      }),
                                                      this);
        }
        std::string problem;
        auto* client = clientFor(uid, nullptr, problem);
        if (!client) {
            log.warning("calendar {} ({}): {}", uid, text(e_source_get_display_name(source)), problem);
            setProblem(uid, problem);
            return;
        }
        GError* error = nullptr;
        ECalClientView* view = nullptr;
        if (!e_cal_client_get_view_sync(client, "#t", &view, nullptr, &error)) {
            log.warning("calendar {}: no change view: {}", uid, errorText(error, "unknown error"));
            g_clear_error(&error);
            return;
        }
        e_cal_client_view_set_flags(view, E_CAL_CLIENT_VIEW_FLAGS_NONE, nullptr);
        GSList* fields = g_slist_append(nullptr, const_cast<char*>("UID"));
        e_cal_client_view_set_fields_of_interest(view, fields, nullptr);
        g_slist_free(fields);
        auto onObjects = G_CALLBACK(
            +[](ECalClientView*, gpointer, gpointer self) { static_cast<Impl*>(self)->scheduleChange(); });
        for (const char* signal : {"objects-added", "objects-modified", "objects-removed"}) {
            calendar.viewHandlers.push_back(g_signal_connect(view, signal, onObjects, this));
        }
        e_cal_client_view_start(view, &error);
        if (error) {
            log.warning("calendar {}: change view did not start: {}", uid, errorText(error, "unknown error"));
            g_clear_error(&error);
        }
        calendar.view = view;
    }

    std::vector<CalendarEvent> fetch(Support::Date start, Support::Date end,
                                     const std::vector<std::string>& ids, GCancellable* cancel) {
        std::vector<std::string> targets;
        {
            std::lock_guard lock(mutex);
            for (const auto& d : catalogue) {
                bool wanted = ids.empty() || std::find(ids.begin(), ids.end(), d.id) != ids.end();
                bool locked = !d.isReadable && problems.count(d.id) == 0; // a password or a certificate
                if (wanted && !locked) {
                    targets.push_back(d.id);
                }
            }
        }
        std::vector<CalendarEvent> out;
        auto from = static_cast<time_t>(Support::unixSeconds(start));
        auto to = static_cast<time_t>(Support::unixSeconds(end));
        for (const auto& uid : targets) {
            std::string problem;
            auto* client = clientFor(uid, cancel, problem);
            if (!client) {
                setProblem(uid, problem);
                continue;
            }
            std::set<std::string> mine = identityAddresses;
            mine.insert(addressesByCalendar[uid].begin(), addressesByCalendar[uid].end());
            for (const auto& e : options.userEmails) {
                mine.insert(lowered(e));
            }
            EdsEventConversion conversion{uid, mine, userZone()};
            if (auto problem = read(client, conversion, from, to, cancel, out); !problem.empty()) {
                setProblem(uid, problem);
                continue;
            }
            if (cancel && g_cancellable_is_cancelled(cancel)) {
                setProblem(uid, "it did not answer within " +
                                    std::to_string(static_cast<int>(options.fetchTimeoutSeconds)) +
                                    " seconds");
            } else {
                setProblem(uid, "");
            }
        }
        return out;
    }

    /// The occurrences of one calendar overlapping [from, to): the events EDS finds in the range, each
    /// series expanded by EDS's recurrence rules with its detached occurrences (moved, cancelled) in place
    /// of the ones they replace. Returns the problem, or "".
    std::string read(ECalClient* client, const EdsEventConversion& conversion, time_t from, time_t to,
                     GCancellable* cancel, std::vector<CalendarEvent>& out) {
        auto iso = [](time_t t) {
            char text[32];
            std::tm tm{};
            ::gmtime_r(&t, &tm);
            std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &tm);
            return std::string(text);
        };
        auto sexp =
            "(occur-in-time-range? (make-time \"" + iso(from) + "\") (make-time \"" + iso(to) + "\"))";
        GSList* components = nullptr;
        GError* error = nullptr;
        if (!e_cal_client_get_object_list_sync(client, sexp.c_str(), &components, cancel, &error)) {
            auto problem = "it cannot be read: " + errorText(error, "unknown error");
            g_clear_error(&error);
            return problem;
        }
        // The range query gives a series without the occurrences detached from it (moved or cancelled
        // ones): those come with the series' other components.
        std::map<std::string, std::set<std::int64_t>> detached;
        std::set<std::string> series;
        for (GSList* l = components; l; l = l->next) {
            auto* c = static_cast<ICalComponent*>(l->data);
            auto uid = text(i_cal_component_get_uid(c));
            if (auto rid = conversion.recurrenceID(c)) {
                detached[uid].insert(*rid);
            } else if (ICalProperty* rule = i_cal_component_get_first_property(c, I_CAL_RRULE_PROPERTY)) {
                g_object_unref(rule);
                series.insert(uid);
            }
        }
        for (const auto& uid : series) {
            GSList* all = nullptr;
            if (!e_cal_client_get_objects_for_uid_sync(client, uid.c_str(), &all, cancel, nullptr)) {
                continue;
            }
            for (GSList* l = all; l; l = l->next) {
                auto* c = e_cal_component_get_icalcomponent(static_cast<ECalComponent*>(l->data));
                auto rid = conversion.recurrenceID(c);
                if (rid && detached[uid].insert(*rid).second) {
                    components = g_slist_prepend(components, i_cal_component_clone(c));
                }
            }
            g_slist_free_full(all, g_object_unref);
        }
        struct Gather {
            const EdsEventConversion* conversion;
            const std::set<std::int64_t>* replaced;
            std::vector<CalendarEvent>* out;
            double from, to;
        };
        auto* utc = i_cal_timezone_get_utc_timezone();
        ICalTime* start = i_cal_time_new_from_timet_with_zone(from, FALSE, utc);
        ICalTime* end = i_cal_time_new_from_timet_with_zone(to, FALSE, utc);
        static const std::set<std::int64_t> none;
        for (GSList* l = components; l; l = l->next) {
            auto* c = static_cast<ICalComponent*>(l->data);
            auto found = detached.find(text(i_cal_component_get_uid(c)));
            bool isSeries = !conversion.recurrenceID(c).has_value();
            Gather gather{&conversion, isSeries && found != detached.end() ? &found->second : &none, &out,
                          static_cast<double>(from), static_cast<double>(to)};
            e_cal_recur_generate_instances_sync(
                c, start, end,
                +[](ICalComponent* comp, ICalTime* instanceStart, ICalTime* instanceEnd, gpointer data,
                    GCancellable*, GError**) -> gboolean {
                    auto* g = static_cast<Gather*>(data);
                    auto e = g->conversion->event(comp, instanceStart, instanceEnd);
                    if (!e) {
                        return TRUE;
                    }
                    auto s = Support::unixSeconds(e->start);
                    auto t = Support::unixSeconds(e->end);
                    if (g->replaced->count(static_cast<std::int64_t>(s)) > 0) {
                        return TRUE; // a detached occurrence stands in for this one
                    }
                    if (s < g->to && (t > g->from || (s == t && s >= g->from))) {
                        g->out->push_back(std::move(*e));
                    }
                    return TRUE;
                },
                &gather, e_cal_client_tzlookup_cb, client, conversion.userZone, cancel, nullptr);
        }
        g_object_unref(start);
        g_object_unref(end);
        g_slist_free_full(components, g_object_unref);
        return "";
    }

    /// Runs `work` on the store's thread and waits for it (not on the main loop); after `timeout` the
    /// cancellable is cancelled, which ends EDS's calls at once.
    template <typename T> T call(std::function<T(GCancellable*)> work, double timeout) {
        auto promise = std::make_shared<std::promise<T>>();
        auto future = promise->get_future();
        GCancellable* cancel = g_cancellable_new();
        {
            std::lock_guard lock(mutex);
            if (stopped) {
                throw std::runtime_error("the desktop calendar store is closed");
            }
            g_object_ref(cancel);
            invokeOn(context, [this, promise, work = std::move(work), cancel] {
                try {
                    if (stopped) {
                        throw std::runtime_error("the desktop calendar store is closed");
                    }
                    promise->set_value(work(cancel));
                } catch (...) {
                    promise->set_exception(std::current_exception());
                }
                g_object_unref(cancel);
            });
        }
        if (future.wait_for(millis(timeout)) == std::future_status::timeout) {
            g_cancellable_cancel(cancel);
        }
        g_object_unref(cancel);
        return future.get();
    }

    /// Ends the thread; calls still queued for it fail.
    void stop() {
        if (!thread.joinable()) {
            return;
        }
        invokeOn(context, [this] { g_main_loop_quit(loop); });
        thread.join();
        std::lock_guard lock(mutex);
        stopped = true;
        while (g_main_context_iteration(context, FALSE)) {
        }
    }
};

const bool EdsCalendarStore::isBuiltIn = true;

namespace {

// The programs open the store through DesktopCalendars, which loads this file's module when needed.
const DesktopCalendars::Registration registration{[](EdsCalendarStore::Options options) {
    auto opened = EdsCalendarStore::open(std::move(options));
    return DesktopCalendars::Opened{std::move(opened.store), std::move(opened.problem)};
}};

} // namespace

EdsCalendarStore::Opened EdsCalendarStore::open(Options options) {
    auto impl = std::make_shared<Impl>();
    impl->options = std::move(options);
    impl->mainLoop = Support::MainLoop::hasCurrent() ? &Support::MainLoop::current() : nullptr;
    // EDS hands its registry's and views' signals to GLib's global default context (whatever the
    // thread-default context was when they were made), so the store's thread is the one that runs it; nothing
    // else in Vellmora uses GLib's default context, and one store is open at a time.
    impl->context = g_main_context_ref(g_main_context_default());
    impl->loop = g_main_loop_new(impl->context, FALSE);
    impl->connecting = g_cancellable_new();
    std::promise<std::string> ready;
    auto result = ready.get_future();
    impl->thread = std::thread([raw = impl.get(), &ready] { raw->serve(ready); });
    if (result.wait_for(millis(impl->options.connectTimeoutSeconds)) == std::future_status::timeout) {
        g_cancellable_cancel(impl->connecting);
    }
    auto problem = result.get();
    if (!problem.empty()) {
        impl->thread.join();
        return {nullptr, "desktop calendars are not available: " + problem};
    }
    if (!impl->mainLoop) {
        impl->options.watchForChanges = false;
    }
    return {std::unique_ptr<EdsCalendarStore>(new EdsCalendarStore(std::move(impl))), ""};
}

Support::Task<EdsCalendarStore::Opened> EdsCalendarStore::connect(Options options) {
    co_return co_await Support::BlockingWork::run(
        [options = std::move(options)]() mutable { return open(std::move(options)); });
}

EdsCalendarStore::EdsCalendarStore(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}

EdsCalendarStore::~EdsCalendarStore() {
    impl_->stop();
}

CalendarAuthorization EdsCalendarStore::authorizationStatus() const {
    return CalendarAuthorization::fullAccess; // a store exists only once the registry answered
}

Support::Task<bool> EdsCalendarStore::requestFullAccess() {
    co_return true;
}

std::vector<CalendarDescriptor> EdsCalendarStore::calendars() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->catalogue;
}

Support::Task<std::vector<CalendarEvent>> EdsCalendarStore::events(Support::Date start, Support::Date end,
                                                                   std::vector<std::string> calendarIDs) {
    auto impl = impl_;
    co_return co_await Support::BlockingWork::run([impl, start, end, ids = std::move(calendarIDs)] {
        return impl->call<std::vector<CalendarEvent>>(
            [raw = impl.get(), start, end, ids](GCancellable* cancel) {
                return raw->fetch(start, end, ids, cancel);
            },
            impl->options.fetchTimeoutSeconds);
    });
}

Support::Subscription EdsCalendarStore::observeChanges(std::function<void()> onChange) {
    return impl_->changed.connect(std::move(onChange));
}

} // namespace Platform

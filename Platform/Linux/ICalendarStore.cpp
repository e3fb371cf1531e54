#include "Platform/Linux/ICalendarStore.h"

#include "Platform/Linux/CalendarSubscriptionDownloader.h"
#include "Platform/Linux/CurlHttpClient.h"
#include "Platform/Linux/DirectoryWatcher.h"
#include "Platform/Linux/ICalendarExpansion.h"
#include "Platform/Linux/ICalendarScanner.h"
#include "Platform/Linux/VdirSources.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace Platform {

namespace {

const Support::Logger log("calendarStore");

/// Says once per calendar and zone that a zone was not understood (the meeting may be at the wrong hour).
void noteUnknownZones(const std::string& calendarID, const std::vector<CalendarEvent>& events) {
    static std::mutex mutex;
    static std::set<std::pair<std::string, std::string>> told;
    for (const auto& e : events) {
        if (!e.unknownTimeZone) {
            continue;
        }
        std::lock_guard lock(mutex);
        if (told.emplace(calendarID, *e.unknownTimeZone).second) {
            log.warning("Calendar {}: time zone '{}' not known: its times are read as local time", calendarID,
                        *e.unknownTimeZone);
        }
    }
}

std::int64_t unixFloor(Support::Date d) {
    return std::chrono::floor<std::chrono::seconds>(d.time_since_epoch()).count();
}
std::int64_t unixCeil(Support::Date d) {
    return std::chrono::ceil<std::chrono::seconds>(d.time_since_epoch()).count();
}

/// One calendar with its scanned files, shared read-only with fetches running on the thread pool.
struct CalendarState {
    CalendarDescriptor descriptor;
    std::vector<std::shared_ptr<const ICalendarScannedFile>> files;
};

/// The calendars and the cache of scanned files. Holds nothing of the main loop, so that fetches on the
/// thread pool may keep it (and be the last to let it go). Thread-safe.
class Catalog {
public:
    Catalog(std::vector<std::string> sources, fs::path cacheFolder)
        : sources_(std::move(sources)), cacheFolder_(std::move(cacheFolder)) {}

    void markDirty() {
        std::lock_guard lock(mutex_);
        dirty_ = true;
    }

    std::size_t cachedFileCount() const {
        std::lock_guard lock(mutex_);
        return fileCache_.size();
    }

    /// Re-lists the sources and re-scans changed files (when something changed since the last time); files
    /// no calendar holds any more leave the cache.
    std::vector<std::shared_ptr<const CalendarState>> snapshot() {
        std::lock_guard lock(mutex_);
        if (!dirty_) {
            return calendars_;
        }
        auto listed = VdirSources::calendars(sources_, [this](const std::string& url) {
            auto note = CalendarSubscriptionDownloader::note(cacheFolder_, url);
            return std::pair{CalendarSubscriptionDownloader::copyFile(cacheFolder_, url),
                             note.problem.empty() ? std::string("not downloaded yet") : note.problem};
        });
        std::set<fs::path> used;
        std::vector<std::shared_ptr<const CalendarState>> fresh;
        for (auto& calendar : listed) {
            fresh.push_back(state(calendar, used));
        }
        std::erase_if(fileCache_, [&](const auto& entry) { return !used.count(entry.first); });
        for (const auto& c : fresh) {
            if (!c->descriptor.isReadable) {
                logOnce(c->descriptor.id, c->descriptor.problem);
            }
        }
        calendars_ = std::move(fresh);
        dirty_ = false;
        return calendars_;
    }

private:
    struct CachedFile {
        ICalendarFileIdentity identity;
        std::shared_ptr<const ICalendarScannedFile> scanned;
        std::string problem;
    };

    std::shared_ptr<const CalendarState> state(VdirSources::Calendar& calendar, std::set<fs::path>& used) {
        auto state = std::make_shared<CalendarState>();
        auto& d = state->descriptor;
        d = std::move(calendar.descriptor);
        if (!calendar.isFolder) {
            const auto& path = calendar.files.front();
            std::error_code ec;
            if (!fs::exists(path, ec)) {
                d.isReadable = false;
                d.problem = std::move(calendar.missingProblem);
                return state;
            }
        }
        for (const auto& path : calendar.files) {
            used.insert(path);
            std::string problem;
            auto scanned = scannedFile(path, problem);
            if (!scanned) {
                d.isReadable = false;
                d.problem = problem;
                state->files.clear();
                break;
            }
            state->files.push_back(std::move(scanned));
        }
        if (!calendar.isFolder && !state->files.empty()) {
            const auto& scanned = *state->files.front();
            if (!scanned.calendarName.empty()) {
                d.title = scanned.calendarName;
            }
            d.colorHex = VdirSources::normalisedColor(scanned.color);
        }
        return state;
    }

    void logOnce(const std::string& calendarID, const std::string& problem) {
        if (loggedProblems_.insert(calendarID + "\n" + problem).second) {
            log.warning("Calendar {} cannot be read: {}", calendarID, problem);
        }
    }

    /// The scanned form of a file, re-read only when it changed. Sets `problem` when it cannot be read.
    std::shared_ptr<const ICalendarScannedFile> scannedFile(const fs::path& path, std::string& problem) {
        struct stat st {};
        if (::stat(path.c_str(), &st) != 0) {
            problem = path.string() + ": " + std::strerror(errno);
            return nullptr;
        }
        auto identity = ICalendarFileIdentity::of(st);
        auto it = fileCache_.find(path);
        if (it != fileCache_.end() && it->second.identity == identity) {
            problem = it->second.problem;
            return it->second.scanned;
        }
        CachedFile cached{identity, nullptr, ""};
        try {
            auto scanned = ICalendarScanner::scanFile(path, false);
            cached.identity = scanned.identity; // as read, should it have changed since the stat
            cached.scanned = std::make_shared<const ICalendarScannedFile>(std::move(scanned));
        } catch (const std::exception& e) {
            cached.problem = path.filename().string() + ": " + e.what();
        }
        problem = cached.problem;
        fileCache_[path] = cached;
        return cached.scanned;
    }

    const std::vector<std::string> sources_;
    const fs::path cacheFolder_;
    mutable std::mutex mutex_;
    bool dirty_ = true;
    std::vector<std::shared_ptr<const CalendarState>> calendars_;
    std::map<fs::path, CachedFile> fileCache_;
    std::set<std::string> loggedProblems_;
};

} // namespace

// ---------------------------------------------------------------------------------------------------------

struct ICalendarStore::Impl : std::enable_shared_from_this<Impl> {
    Options options;
    std::shared_ptr<Catalog> catalog;
    Support::Signal<> changed;
    /// The client the downloads use: the injected one, or one of our own.
    std::shared_ptr<HttpClient> http;
    std::shared_ptr<CalendarSubscriptionDownloader> downloader;
    std::unique_ptr<DirectoryWatcher> watcher;
    std::map<fs::path, std::set<std::string>> watchedFileNames; // folder → names of single-file sources
    Support::Subscription refreshTimer;
    Support::Subscription debounce;
    Support::Task<void> refreshing;
    Support::Task<void> rescanning;

    ~Impl() {
        // A download in flight stops now: its task holds no part of the store, and its transfer is cancelled.
        refreshing.cancel();
        rescanning.cancel();
    }

    Support::Date now() const { return options.scheduler ? options.scheduler->now() : Support::systemNow(); }

    /// Scans what changed on the pool, then tells the observers: the fetches they start find the
    /// calendars scanned, and the main loop reads no calendar file.
    static Support::Task<void> rescanAndTell(std::weak_ptr<Impl> weak, std::shared_ptr<Catalog> catalog) {
        catalog->markDirty();
        auto scan = [catalog] { (void)catalog->snapshot(); };
        co_await Support::BlockingWork::run(std::move(scan));
        if (auto self = weak.lock()) {
            self->changed.emit();
        }
    }

    void filesChanged() {
        catalog->markDirty();
        if (!options.scheduler) {
            changed.emit();
            return;
        }
        // A sync run writes many files: tell observers once, when it has settled.
        std::weak_ptr<Impl> weak = shared_from_this();
        debounce = options.scheduler->after(Support::seconds(0.5), [weak] {
            if (auto self = weak.lock()) {
                self->rescanning = rescanAndTell(weak, self->catalog);
            }
        });
    }

    void watchSources() {
        auto plan = VdirSources::watchPlan(options.sources);
        watchedFileNames = std::move(plan.singleFiles);
        for (const auto& folder : plan.folders) {
            watcher->add(folder);
        }
    }

    void startWatching() {
        std::weak_ptr<Impl> weak = shared_from_this();
        watcher = std::make_unique<DirectoryWatcher>(
            [weak](const std::vector<DirectoryWatcher::Change>& changes, bool overflowed) {
                if (auto self = weak.lock()) {
                    self->onChanges(changes, overflowed);
                }
            });
        if (watcher->isActive()) {
            watchSources();
        }
    }

    void onChanges(const std::vector<DirectoryWatcher::Change>& changes, bool overflowed) {
        if (overflowed) {
            // Events were lost: anything may have changed, folders may have appeared.
            watchSources();
            filesChanged();
            return;
        }
        bool relevant = false;
        for (const auto& change : changes) {
            auto singles = watchedFileNames.find(change.folder);
            if (singles != watchedFileNames.end() && !change.name.empty() &&
                !singles->second.count(change.name)) {
                continue; // another file beside a single-file calendar
            }
            if (!change.name.empty() && change.name.front() == '.') {
                continue; // temporary files of editors and sync tools
            }
            if (change.isFolder && change.appeared) {
                watcher->add(change.folder / change.name);
            }
            relevant = true;
        }
        if (relevant) {
            filesChanged();
        }
    }

    std::vector<std::string> subscriptionURLs() const {
        std::vector<std::string> out;
        for (const auto& raw : options.sources) {
            if (CalendarSubscriptionDownloader::isSubscription(raw)) {
                out.push_back(raw);
            }
        }
        return out;
    }

    /// Downloads the subscriptions one after the other. Holds the downloader, and the store only weakly.
    static Support::Task<void> refresh(std::weak_ptr<Impl> weak,
                                       std::shared_ptr<CalendarSubscriptionDownloader> downloader,
                                       std::vector<std::string> urls, bool onlyStale) {
        bool anyChanged = false;
        for (const auto& url : urls) {
            if (onlyStale && !downloader->isStale(url, Support::seconds(subscriptionRefreshSeconds))) {
                continue;
            }
            try {
                auto download = downloader->download(url);
                anyChanged = co_await Support::awaitOwned(download) || anyChanged;
            } catch (const std::exception& e) {
                log.warning("Subscription {}: {}", url, e.what());
            }
        }
        if (auto self = weak.lock(); self && anyChanged) {
            auto catalog = self->catalog;
            self.reset();
            co_await rescanAndTell(weak, std::move(catalog));
        }
    }

    Support::Task<void> startRefresh(bool onlyStale) {
        if (refreshing.isValid() && !refreshing.isDone()) {
            return refreshing; // one refresh at a time: the one under way answers
        }
        refreshing = refresh(weak_from_this(), downloader, subscriptionURLs(), onlyStale);
        return refreshing;
    }
};

ICalendarStore::Options ICalendarStore::optionsFromDefaults(const Support::UserDefaults& defaults,
                                                            std::string timeZoneID) {
    auto list = [&](const char* key) {
        std::vector<std::string> out;
        if (auto array = defaults.stringArray(key)) {
            out = *array;
        } else if (auto text = defaults.string(key)) {
            std::istringstream lines(*text);
            for (std::string line; std::getline(lines, line);) {
                out.push_back(line);
            }
        }
        for (auto& item : out) {
            item.erase(0, item.find_first_not_of(" \t\r"));
            item.erase(item.find_last_not_of(" \t\r") + 1);
        }
        out.erase(std::remove(out.begin(), out.end(), std::string()), out.end());
        return out;
    };
    Options options;
    options.sources = list(sourcesKey);
    options.userEmails = list(userEmailsKey);
    options.timeZoneID = std::move(timeZoneID);
    options.cacheFolder = Support::Files::cacheHome();
    return options;
}

ICalendarStore::ICalendarStore(Options options) : impl_(std::make_shared<Impl>()) {
    impl_->options = std::move(options);
    impl_->catalog = std::make_shared<Catalog>(impl_->options.sources, impl_->options.cacheFolder);
    if (impl_->options.http) {
        impl_->http = std::shared_ptr<HttpClient>(impl_->options.http, [](HttpClient*) {});
    } else {
        impl_->http = std::make_shared<CurlHttpClient>();
    }
    std::weak_ptr<Impl> weak = impl_;
    impl_->downloader =
        std::make_shared<CalendarSubscriptionDownloader>(*impl_->http, impl_->options.cacheFolder, [weak] {
            auto self = weak.lock();
            return self ? self->now() : Support::systemNow();
        });
    if (impl_->options.watchForChanges) {
        impl_->startWatching();
    }
    if (auto* scheduler = impl_->options.scheduler; scheduler && !impl_->subscriptionURLs().empty()) {
        impl_->refreshTimer = scheduler->every(Support::seconds(subscriptionRefreshSeconds), [weak] {
            if (auto impl = weak.lock()) {
                (void)impl->startRefresh(false);
            }
        });
        (void)impl_->startRefresh(true);
    }
}

ICalendarStore::~ICalendarStore() = default;

CalendarAuthorization ICalendarStore::authorizationStatus() const {
    return CalendarAuthorization::fullAccess;
}

Support::Task<bool> ICalendarStore::requestFullAccess() {
    co_return true;
}

std::vector<CalendarDescriptor> ICalendarStore::calendars() const {
    std::vector<CalendarDescriptor> out;
    for (const auto& c : impl_->catalog->snapshot()) {
        out.push_back(c->descriptor);
    }
    return out;
}

std::size_t ICalendarStore::cachedFileCount() const {
    return impl_->catalog->cachedFileCount();
}

Support::Task<std::vector<CalendarEvent>> ICalendarStore::events(Support::Date start, Support::Date end,
                                                                 std::vector<std::string> calendarIDs) {
    auto zone = impl_->options.timeZoneID;
    auto emails = impl_->options.userEmails;
    auto from = unixFloor(start);
    auto to = unixCeil(end);
    // Scanning and expanding both happen on the pool. The job is a named local: g++ 12 mishandles lambda
    // temporaries inside a co_await expression (their copies end up pointing into the frame).
    auto job = [catalog = impl_->catalog,
                wanted = std::set<std::string>(calendarIDs.begin(), calendarIDs.end()), zone, emails, from,
                to] {
        std::vector<CalendarEvent> out;
        for (const auto& calendar : catalog->snapshot()) {
            if (!calendar->descriptor.isReadable ||
                (!wanted.empty() && !wanted.count(calendar->descriptor.id))) {
                continue;
            }
            for (const auto& file : calendar->files) {
                try {
                    auto events = ICalendarExpansion::occurrences(*file, calendar->descriptor.id, from, to,
                                                                  zone, emails);
                    noteUnknownZones(calendar->descriptor.id, events);
                    out.insert(out.end(), std::make_move_iterator(events.begin()),
                               std::make_move_iterator(events.end()));
                } catch (const std::exception& e) {
                    log.warning("Calendar {}: {}", calendar->descriptor.id, e.what());
                }
            }
        }
        return out;
    };
    co_return co_await Support::BlockingWork::run(std::move(job));
}

Support::Subscription ICalendarStore::observeChanges(std::function<void()> onChange) {
    return impl_->changed.connect([onChange = std::move(onChange)] { onChange(); });
}

Support::Task<void> ICalendarStore::refreshSubscriptions(bool onlyStale) {
    return impl_->startRefresh(onlyStale);
}

std::vector<CalendarEvent> ICalendarStore::occurrencesInText(std::string_view text,
                                                             const std::string& calendarID,
                                                             Support::Date start, Support::Date end,
                                                             const std::string& timeZoneID,
                                                             const std::vector<std::string>& userEmails) {
    auto scanned = ICalendarScanner::scan(text);
    scanned.text = std::string(text);
    return ICalendarExpansion::occurrences(scanned, calendarID, unixFloor(start), unixCeil(end), timeZoneID,
                                           userEmails);
}

} // namespace Platform

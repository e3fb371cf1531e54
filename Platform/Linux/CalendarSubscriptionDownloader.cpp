#include "Platform/Linux/CalendarSubscriptionDownloader.h"

#include "Platform/Linux/ICalendarScanner.h"
#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace fs = std::filesystem;

namespace Platform {

namespace {

const Support::Logger log("calendarStore");

std::string fnv1a(const std::string& s) {
    std::uint64_t h = 1469598103934665603ULL;
    for (unsigned char c : s) {
        h = (h ^ c) * 1099511628211ULL;
    }
    char buf[17];
    std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(h));
    return buf;
}

CalendarSubscriptionDownloader::Note readNote(const fs::path& file) {
    CalendarSubscriptionDownloader::Note note;
    try {
        if (auto text = Support::Files::readIfExists(file)) {
            auto json = nlohmann::json::parse(*text);
            note.etag = json.value("etag", "");
            note.lastModified = json.value("lastModified", "");
            note.fetchedAt = json.value("fetchedAt", 0.0);
            note.problem = json.value("problem", "");
        }
    } catch (const std::exception&) {
        // A damaged note about the last download only costs a full download.
    }
    return note;
}

/// What the pool job keeps: the copy (when the body is a calendar) and the note. Values only.
struct Outcome {
    bool changedCopy = false;
    bool problemChanged = false;
    bool hadCopy = false;
};

Outcome keep(const std::string& url, const fs::path& copy, const fs::path& noteFile,
             CalendarSubscriptionDownloader::Note note, bool hadCopy, std::optional<HttpResponse> response,
             std::string problem, double now) {
    Outcome outcome;
    outcome.hadCopy = hadCopy;
    if (response) {
        if (response->status == 304) {
            note.fetchedAt = now;
        } else if (!response->isSuccess()) {
            problem = "download failed: HTTP status " + std::to_string(response->status);
        } else if (response->body.size() > CalendarSubscriptionDownloader::maxBytes) {
            problem = "download failed: too large for a calendar";
        } else {
            try {
                ICalendarScanner::scan(response->body); // never replace a good copy with something else
                auto old = Support::Files::readIfExists(copy);
                if (!old || *old != response->body) {
                    Support::Files::writeAtomically(copy, response->body);
                    outcome.changedCopy = true;
                }
                note.etag = response->header("ETag").value_or("");
                note.lastModified = response->header("Last-Modified").value_or("");
                note.fetchedAt = now;
            } catch (const std::system_error& e) {
                problem = std::string("cannot keep the download: ") + e.what();
            } catch (const std::exception& e) {
                problem = std::string("the download is not a calendar (") + e.what() + ")";
            }
        }
    }
    outcome.problemChanged = note.problem != problem;
    note.problem = problem;
    if (!problem.empty()) {
        log.warning("Subscription {}: {}", url, problem);
    }
    try {
        nlohmann::json json{{"url", url},
                            {"etag", note.etag},
                            {"lastModified", note.lastModified},
                            {"fetchedAt", note.fetchedAt},
                            {"problem", note.problem}};
        Support::Files::writeAtomically(noteFile, json.dump(2));
    } catch (const std::exception& e) {
        log.warning("Cannot note the download of {}: {}", url, e.what());
    }
    return outcome;
}

} // namespace

CalendarSubscriptionDownloader::CalendarSubscriptionDownloader(HttpClient& http, fs::path cacheFolder,
                                                               std::function<Support::Date()> now)
    : http_(http), cacheFolder_(std::move(cacheFolder)), now_(std::move(now)) {}

bool CalendarSubscriptionDownloader::isSubscription(std::string_view source) {
    auto lower = Support::Text::asciiLowercased(source);
    return Support::Text::startsWith(lower, "https://") || Support::Text::startsWith(lower, "http://") ||
           Support::Text::startsWith(lower, "webcal://") || Support::Text::startsWith(lower, "webcals://");
}

std::string CalendarSubscriptionDownloader::downloadURL(const std::string& source) {
    auto lower = Support::Text::asciiLowercased(source);
    if (Support::Text::startsWith(lower, "webcals://")) {
        return "https://" + source.substr(10);
    }
    if (Support::Text::startsWith(lower, "webcal://")) {
        return "https://" + source.substr(9);
    }
    return source;
}

std::string CalendarSubscriptionDownloader::hostOf(const std::string& url) {
    auto scheme = url.find("://");
    auto rest = scheme == std::string::npos ? url : url.substr(scheme + 3);
    auto end = rest.find_first_of("/?#");
    auto host = rest.substr(0, end);
    if (auto at = host.rfind('@'); at != std::string::npos) {
        host = host.substr(at + 1);
    }
    return Support::Text::asciiLowercased(host);
}

fs::path CalendarSubscriptionDownloader::copyFile(const fs::path& cacheFolder, const std::string& url) {
    return cacheFolder / "subscriptions" / (hostOf(url) + "-" + fnv1a(url) + ".ics");
}

fs::path CalendarSubscriptionDownloader::noteFile(const fs::path& cacheFolder, const std::string& url) {
    return cacheFolder / "subscriptions" / (hostOf(url) + "-" + fnv1a(url) + ".json");
}

CalendarSubscriptionDownloader::Note CalendarSubscriptionDownloader::note(const fs::path& cacheFolder,
                                                                          const std::string& url) {
    return readNote(noteFile(cacheFolder, url));
}

fs::path CalendarSubscriptionDownloader::copyFile(const std::string& url) const {
    return copyFile(cacheFolder_, url);
}

CalendarSubscriptionDownloader::Note CalendarSubscriptionDownloader::note(const std::string& url) const {
    return note(cacheFolder_, url);
}

bool CalendarSubscriptionDownloader::isStale(const std::string& url, Support::Duration maxAge) const {
    std::error_code ec;
    if (!fs::exists(copyFile(url), ec)) {
        return true;
    }
    return Support::unixSeconds(now_()) - note(url).fetchedAt >= Support::toSeconds(maxAge);
}

Support::Task<bool> CalendarSubscriptionDownloader::download(std::string url) {
    auto copy = copyFile(url);
    auto noteAt = noteFile(cacheFolder_, url);
    auto previous = readNote(noteAt);
    std::error_code ec;
    bool hadCopy = fs::exists(copy, ec);
    HttpRequest request;
    request.url = downloadURL(url);
    request.headers.emplace_back("User-Agent", "Vellmora calendar subscription");
    if (hadCopy && !previous.etag.empty()) {
        request.headers.emplace_back("If-None-Match", previous.etag);
    }
    if (hadCopy && !previous.lastModified.empty()) {
        request.headers.emplace_back("If-Modified-Since", previous.lastModified);
    }
    if (!hadCopy) {
        previous.etag.clear();
        previous.lastModified.clear();
    }
    std::optional<HttpResponse> response;
    std::string problem;
    try {
        auto transfer = http_.send(std::move(request));
        response = co_await Support::awaitOwned(transfer);
    } catch (const HttpTransportError& e) {
        problem = "download failed: " + e.description();
    }
    auto now = Support::unixSeconds(now_());
    // The job holds values only: it may finish after the downloader (and the loop) are gone.
    auto job = [url, copy, noteAt, previous, hadCopy, response = std::move(response), problem,
                now]() mutable {
        return keep(url, copy, noteAt, std::move(previous), hadCopy, std::move(response), std::move(problem),
                    now);
    };
    auto outcome = co_await Support::BlockingWork::run(std::move(job));
    co_return outcome.changedCopy || (outcome.problemChanged && !outcome.hadCopy);
}

} // namespace Platform

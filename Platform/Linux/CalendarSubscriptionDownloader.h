// Keeps local copies of subscribed calendars (https://, http://, webcal:// and webcals:// URLs) for the
// iCalendar store: each is downloaded through the injected HttpClient into `<cache>/subscriptions/` as
// `<host>-<hash>.ics`, with a note `<host>-<hash>.json` holding the ETag, Last-Modified, when it was fetched
// (by the given clock) and the last problem, so that the next download is a conditional request.
//
// A download that fails, answers with an error status or is not a calendar keeps the last good copy and
// notes the problem (logged). Cancelling `download` stops the transfer at once; the files are written on
// the thread pool by a job that holds nothing of the downloader, so quitting never waits for the network
// and nothing is used after it is gone. Main loop only.
#pragma once

#include "Platform/HttpClient.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace Platform {

class CalendarSubscriptionDownloader {
public:
    struct Note {
        std::string etag;
        std::string lastModified;
        /// Unix seconds; 0 when never fetched.
        double fetchedAt = 0;
        std::string problem;
    };

    /// Larger answers are not calendars.
    static constexpr std::size_t maxBytes = 64u * 1024 * 1024;

    CalendarSubscriptionDownloader(HttpClient& http, std::filesystem::path cacheFolder,
                                   std::function<Support::Date()> now);

    static bool isSubscription(std::string_view source);
    /// The https:// address of a webcal:// or webcals:// URL; others as they are.
    static std::string downloadURL(const std::string& source);
    /// The lower-cased host of a URL (without user information).
    static std::string hostOf(const std::string& url);

    /// The local copy of a subscription (which may not exist yet), and the note about its last download,
    /// in a cache folder (safe on any thread).
    static std::filesystem::path copyFile(const std::filesystem::path& cacheFolder, const std::string& url);
    static Note note(const std::filesystem::path& cacheFolder, const std::string& url);

    std::filesystem::path copyFile(const std::string& url) const;
    Note note(const std::string& url) const;
    /// Whether the copy is missing or was fetched `maxAge` or longer ago.
    bool isStale(const std::string& url, Support::Duration maxAge) const;

    /// Downloads one subscription; true when its copy changed, or when there is no copy and its problem
    /// changed (the calendar's state for the user changed). Throws `Support::Cancelled` when cancelled.
    Support::Task<bool> download(std::string url);

private:
    static std::filesystem::path noteFile(const std::filesystem::path& cacheFolder, const std::string& url);

    HttpClient& http_;
    std::filesystem::path cacheFolder_;
    std::function<Support::Date()> now_;
};

} // namespace Platform

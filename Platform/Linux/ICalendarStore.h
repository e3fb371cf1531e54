// The calendar store over iCalendar data (libical): the user's calendars as vdir folders written by
// calendar-sync tools, single .ics files, and https:// subscriptions. It composes the parts and keeps the
// cache: `VdirSources` lists the calendars of the sources, `ICalendarScanner` indexes each file (re-scanned
// only when it changed; files no calendar holds any more leave the cache), `ICalendarExpansion` turns the
// blocks near an asked range into occurrences, `CalendarSubscriptionDownloader` keeps the subscriptions'
// copies (through the injected HttpClient, refreshed every 15 minutes when a scheduler is given, by the
// scheduler's clock), and a `DirectoryWatcher` reports file changes.
//
// Sources (user default "calendar.sources", or given directly): folder paths, .ics file paths, https:// (or
// webcal://) URLs; "~/" is the home folder. A calendar's id is its folder or file path (absolute), or its
// URL. Attendees whose address is in "calendar.userEmails" are the current user.
//
// Bad data: a file that is not iCalendar (or that libical cannot read) makes only its own calendar
// unreadable (`isReadable == false`, with the problem), logged once; the other calendars still serve. A
// time zone that is not known is read as local time and logged once per calendar. Access is always granted
// (the files are the user's own).
//
// Threads: `events` scans and expands on the thread pool, and a change (files, a subscription's new copy) is
// scanned on the pool before the observers are told, so that `calendars()` answers from that scan; it scans
// on the calling thread only the first time. Destroying the store cancels a download under way at once;
// nothing that outlives it (a pool job, a cancelled task) holds a part of it that needs the loop.
//
// Changes: the source folders (and the folders of single files) are watched and a changed subscription
// each call the change observers once (several file events within half a second count as one when a
// scheduler is given).
#pragma once

#include "Platform/CalendarStore.h"
#include "Platform/HttpClient.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Platform {

class ICalendarStore final : public CalendarStore {
public:
    struct Options {
        /// Folder paths, .ics file paths and https:// URLs ("~/" is the home folder).
        std::vector<std::string> sources;
        /// The user's own addresses (compared ignoring case).
        std::vector<std::string> userEmails;
        /// The zone of floating and all-day times ("Europe/Berlin"); empty: UTC.
        std::string timeZoneID;
        /// Where subscriptions are cached.
        std::filesystem::path cacheFolder;
        /// Refresh timer for subscriptions and debounce of file changes; none: no timers.
        Support::Scheduler* scheduler = nullptr;
        /// Watch the sources with inotify (needs a main loop).
        bool watchForChanges = true;
        /// The client subscriptions are downloaded with (must outlive the store); none: one of its own.
        HttpClient* http = nullptr;
    };

    static constexpr const char* sourcesKey = "calendar.sources";
    static constexpr const char* userEmailsKey = "calendar.userEmails";
    static constexpr double subscriptionRefreshSeconds = 15 * 60;

    /// The sources and addresses from the user defaults (a string array, or one string of entries separated
    /// by newlines), the cache folder under the Vellmora cache home.
    static Options optionsFromDefaults(const Support::UserDefaults& defaults, std::string timeZoneID);

    explicit ICalendarStore(Options options);
    ~ICalendarStore() override;

    CalendarAuthorization authorizationStatus() const override;
    Support::Task<bool> requestFullAccess() override;
    std::vector<CalendarDescriptor> calendars() const override;
    Support::Task<std::vector<CalendarEvent>> events(Support::Date start, Support::Date end,
                                                     std::vector<std::string> calendarIDs) override;
    Support::Subscription observeChanges(std::function<void()> onChange) override;

    /// How many scanned files the cache holds (for tests and benchmarks).
    std::size_t cachedFileCount() const;

    /// Downloads the subscriptions now (only those whose copy is older than the refresh interval when
    /// `onlyStale`); observers are told when one changed.
    Support::Task<void> refreshSubscriptions(bool onlyStale = false);

    /// The occurrences of the events of one iCalendar text overlapping [start, end): the parser behind the
    /// store, for tests, benchmarks and fuzzing. Throws std::runtime_error (the problem, for the user) when
    /// the text is not iCalendar.
    static std::vector<CalendarEvent> occurrencesInText(std::string_view text, const std::string& calendarID,
                                                        Support::Date start, Support::Date end,
                                                        const std::string& timeZoneID,
                                                        const std::vector<std::string>& userEmails);

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace Platform

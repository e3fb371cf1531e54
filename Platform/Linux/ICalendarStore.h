// The calendar store over iCalendar data (libical): the user's calendars as vdir folders written by
// calendar-sync tools, single .ics files, and https:// subscriptions.
//
// Sources (user default "calendar.sources", or given directly):
//   - a folder of .ics files in the vdir layout: one calendar, named by the folder's `displayname` file and
//     coloured by its `color` file. A folder that holds no .ics files but calendar folders (the account
//     folder of a sync tool) gives one calendar per subfolder. A folder with `displayname` or `color` files
//     was synced from a server (those files come from the server's metadata): its kind is CalDAV, its
//     account the parent folder; otherwise it is a local calendar.
//   - a single .ics file: one local calendar, named by its X-WR-CALNAME or the file name.
//   - an https:// (or webcal://) URL: a subscribed calendar, downloaded with libcurl into
//     `<cache>/subscriptions/` with conditional requests (ETag, Last-Modified), refreshed every 15 minutes
//     when a scheduler is given; a download failure keeps serving the last copy.
// A calendar's id is its folder or file path (absolute), or its URL.
//
// Events: every occurrence overlapping the asked range, with RRULE, RDATE and EXDATE expanded, RECURRENCE-ID
// overrides applied (moved and cancelled occurrences), TZID times resolved through the file's VTIMEZONE (or
// the system zone database), floating and all-day times in the user's time zone. Attendees and organizer
// come from ATTENDEE and ORGANIZER (CN, mailto:, CUTYPE, PARTSTAT); one whose address is in
// "calendar.userEmails" is the current user.
//
// Bad data: a file that is not iCalendar (or that libical cannot read) makes only its own calendar
// unreadable (`isReadable == false`, with the problem), logged once; the other calendars still serve.
// Access is always granted (the files are the user's own).
//
// Changes: inotify on the source folders (and the folders of single files) and a changed subscription each
// call the change observers once (several file events within half a second count as one when a scheduler
// is given).
#pragma once

#include "Platform/CalendarStore.h"
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

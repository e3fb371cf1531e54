// The calendar store over Evolution Data Server (EDS), the desktop's calendar service on GNOME: the
// calendars of the online accounts added in Settings (Google, Microsoft, Nextcloud), CalDAV servers,
// web subscriptions and local calendars, exactly as GNOME Calendar and Evolution show them.
//
// Calendars: every enabled calendar source of the source registry, described by `EdsSourceDescription`
// (account, kind, colour); its id is the source's UID. A calendar whose account waits for a password, whose
// certificate is not trusted, or whose backend cannot be opened is unreadable (`isReadable == false`, the
// reason in `problem`); an offline account still serves its last synchronised copy.
// Events: EDS expands recurrences itself (RRULE, EXDATE, moved and cancelled occurrences); each instance
// becomes a `CalendarEvent` with attendees, organizer (PARTSTAT, CN, CUTYPE), URL, LOCATION, DESCRIPTION,
// the HTML description (X-ALT-DESC) and STATUS. Floating and all-day times are in `timeZoneID`. The user's
// own addresses are the calendar's own address (CalDAV's calendar-user address), the sign-in user of its
// account when that is an address, the mail identities registered with EDS, and `userEmails`.
//
// Threads: every EDS call runs on the store's own thread, which runs GLib's default main context (EDS talks
// GDBus there); `events` waits on a worker thread, never on the main loop, and gives up on a calendar that
// does not answer within `fetchTimeoutSeconds` (it is then named unreadable). Changes (an event added,
// changed or removed through a client view; a calendar added, removed, enabled, disabled or changed; an
// account going online or offline) are gathered for `debounceSeconds` and reach the observers once, on the
// main loop. Nothing polls: the thread sleeps in its main context until EDS says something.
//
// Availability: `open` fails with one sentence when EDS is not reachable (no session bus, no source
// registry) or when Vellmora was built without EDS (`isBuiltIn` is then false).
#pragma once

#include "Platform/CalendarStore.h"
#include "Support/Task.h"

#include <memory>
#include <string>
#include <vector>

namespace Platform {

class EdsCalendarStore final : public CalendarStore {
public:
    struct Options {
        std::vector<std::string> userEmails;
        /// The zone of floating and all-day times ("Europe/Berlin"); empty: UTC.
        std::string timeZoneID;
        /// Open a client view on every calendar to hear of changes (the host); off for one-shot commands.
        bool watchForChanges = true;
        double connectTimeoutSeconds = 10;
        double fetchTimeoutSeconds = 15;
        double debounceSeconds = 0.3;
    };

    struct Opened {
        std::unique_ptr<EdsCalendarStore> store;
        /// Why there is no store, one line for the user.
        std::string problem;
    };

    static const bool isBuiltIn;
    /// The user default that turns the desktop calendars off ("calendar.desktopCalendars" = false).
    static constexpr const char* enabledKey = "calendar.desktopCalendars";

    /// Connects to the source registry, waiting on the calling thread at most `connectTimeoutSeconds`.
    /// Observers are called on the main loop current at the time of the call.
    static Opened open(Options options);
    /// The same without blocking the main loop.
    static Support::Task<Opened> connect(Options options);

    ~EdsCalendarStore() override;

    CalendarAuthorization authorizationStatus() const override;
    Support::Task<bool> requestFullAccess() override;
    std::vector<CalendarDescriptor> calendars() const override;
    Support::Task<std::vector<CalendarEvent>> events(Support::Date start, Support::Date end,
                                                     std::vector<std::string> calendarIDs) override;
    Support::Subscription observeChanges(std::function<void()> onChange) override;

    struct Impl;

private:
    explicit EdsCalendarStore(std::shared_ptr<Impl> impl);
    std::shared_ptr<Impl> impl_;
};

} // namespace Platform

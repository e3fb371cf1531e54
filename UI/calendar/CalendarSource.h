// The calendar source: the one object that reads the calendar store for the rest of the system. It turns
// the store's events into `CalendarEventFields` snapshots and, through `CalendarMeetingFilter`, into
// meetings, lists the calendars for settings, and tells consumers when the store changed.
//
// Serialised: operations run one at a time in call order (a fetch that is under way finishes before the
// next one starts). Lives on the main loop. When calendar access is not granted, `calendars()` and
// `meetings` give empty lists.
#pragma once

#include "Platform/CalendarStore.h"
#include "Support/AsyncStream.h"
#include "Support/Signal.h"
#include "Support/Task.h"
#include "UI/calendar/CalendarEventFields.h"
#include "UI/calendar/CalendarFetchWindow.h"
#include "UI/calendar/CalendarInfo.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/CalendarMeetingFilter.h"

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace UI {

/// The app's own view of calendar permission.
enum class CalendarAuthorizationStatus { notDetermined, denied, restricted, authorized };

std::string_view rawValue(CalendarAuthorizationStatus status);

class CalendarSource {
public:
    explicit CalendarSource(Platform::CalendarStore& store);
    ~CalendarSource();
    CalendarSource(const CalendarSource&) = delete;
    CalendarSource& operator=(const CalendarSource&) = delete;

    CalendarAuthorizationStatus authorizationStatus() const;
    Support::Task<bool> requestFullAccess();
    std::vector<CalendarInfo> calendars() const;
    /// The meetings in `interval`, leaving out the calendars in `excluding`.
    Support::Task<std::vector<CalendarMeeting>> meetings(DateInterval interval,
                                                         std::set<std::string> excluding);
    /// Every event snapshot in `interval` (all calendars), before any filtering: for explanations.
    Support::Task<std::vector<CalendarEventFields>> events(DateInterval interval);

    /// A stream that yields once for every change of the store, for as long as the stream object lives.
    /// Consume with `while (co_await changes.next()) { ... }`.
    class ChangeStream {
    public:
        auto next() const { return stream_.next(); }
        /// Ends the stream (a waiting `next()` gives nothing) and stops observing the store.
        void finish();

    private:
        friend class CalendarSource;
        Support::AsyncStream<bool> stream_;
        Support::Subscription subscription_;
    };
    ChangeStream changes();
    /// The same as a callback, on the main loop.
    [[nodiscard]] Support::Subscription observeChanges(std::function<void()> onChange);

    /// The snapshot of one store event: participants with a "mailto:" address get it as their e-mail.
    static CalendarEventFields fields(const Platform::CalendarEvent& event);
    static CalendarInfo info(const Platform::CalendarDescriptor& calendar);
    static CalendarAttendee attendee(const Platform::CalendarParticipant& participant);

private:
    /// Runs after every operation started before it has finished.
    Support::Task<void> turn();

    Platform::CalendarStore& store_;
    std::shared_ptr<Support::Task<void>> tail_;
};

} // namespace UI

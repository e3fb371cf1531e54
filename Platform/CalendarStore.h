// The user's calendars as the operating system (or the calendar files) holds them: authorisation, the
// calendars with their sources, the event occurrences in a date range with their participants, and a change
// notification. `UI::CalendarSource` is the only user; it turns these records into meetings.
//
// Contract: `events` returns every occurrence that overlaps [start, end) in the given calendars (all when the
// list is empty), recurring series already expanded, cancelled occurrences included with their status (the
// filter drops them). A calendar that cannot be read yields no events and is reported by `calendars()` with
// `isReadable == false`; the others still serve.
#pragma once

#include "Support/Signal.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

enum class CalendarAuthorization { notDetermined, restricted, denied, fullAccess, writeOnly };

/// Where a calendar comes from, as the store knows it.
enum class CalendarSourceType { local, exchange, calDAV, mobileMe, subscribed, birthdays, unknown };

struct CalendarDescriptor {
    std::string id;
    std::string title;
    std::string sourceID;
    std::string sourceTitle;
    CalendarSourceType sourceType = CalendarSourceType::unknown;
    /// "#RRGGBB", or empty when the calendar has no colour.
    std::string colorHex;
    /// False when the calendar's data could not be read or parsed (it then yields no events).
    bool isReadable = true;
    /// Why it is unreadable, one line for the user.
    std::string problem;

    bool operator==(const CalendarDescriptor&) const = default;
};

enum class ParticipantType { unknown, person, room, group, resource };
enum class ParticipantStatus {
    unknown,
    pending,
    accepted,
    declined,
    tentative,
    delegated,
    completed,
    inProcess
};

struct CalendarParticipant {
    /// The participant's address as a URL ("mailto:jane@example.com"), when it has one.
    std::optional<std::string> url;
    std::optional<std::string> name;
    ParticipantType type = ParticipantType::unknown;
    ParticipantStatus status = ParticipantStatus::unknown;
    bool isCurrentUser = false;

    bool operator==(const CalendarParticipant&) const = default;
};

enum class EventStatus { none, confirmed, tentative, canceled };

/// One occurrence of an event.
struct CalendarEvent {
    std::string calendarItemID;
    std::optional<std::string> externalID;
    std::string calendarID;
    std::string title;
    Support::Date start;
    Support::Date end;
    /// The occurrence's original start in its series (differs from `start` for a moved occurrence).
    std::optional<Support::Date> occurrenceDate;
    bool isAllDay = false;
    EventStatus status = EventStatus::none;
    /// The event's URL as written.
    std::optional<std::string> url;
    /// The call's own links as written (iCalendar CONFERENCE, X-GOOGLE-CONFERENCE,
    /// X-MICROSOFT-SKYPETEAMSMEETINGURL), the one for joining by video first.
    std::vector<std::string> conferenceURLs;
    std::optional<std::string> location;
    std::optional<std::string> notes;
    /// An HTML form of the description, when the event has one.
    std::optional<std::string> htmlNotes;
    std::vector<CalendarParticipant> attendees;
    std::optional<CalendarParticipant> organizer;
    /// A time zone named by the event that the store does not know: its times were read as local times.
    std::optional<std::string> unknownTimeZone;
    /// The event's times lie outside what any calendar means (`isWithinRange`); `start` and `end` were
    /// clamped into the range and the event is no meeting.
    bool timesOutOfRange = false;

    /// 1900-01-01T00:00:00Z and 2200-01-01T00:00:00Z.
    static constexpr std::int64_t earliestUnixSeconds = -2208988800;
    static constexpr std::int64_t latestUnixSeconds = 7258118400;
    /// Five years: an event longer than this is a typo or garbage, not a meeting.
    static constexpr std::int64_t longestSeconds = 5 * 366 * 86400;
    /// Whether an occurrence from `start` to `end` (Unix seconds) is one a calendar can mean.
    static constexpr bool isWithinRange(std::int64_t start, std::int64_t end) {
        return start >= earliestUnixSeconds && end <= latestUnixSeconds && start <= end &&
               end - start <= longestSeconds;
    }

    bool operator==(const CalendarEvent&) const = default;
};

class CalendarStore {
public:
    virtual ~CalendarStore() = default;

    virtual CalendarAuthorization authorizationStatus() const = 0;
    /// Asks for full access to events; true when granted.
    virtual Support::Task<bool> requestFullAccess() = 0;
    virtual std::vector<CalendarDescriptor> calendars() const = 0;
    /// Occurrences overlapping [start, end) in `calendarIDs` (every calendar when empty).
    virtual Support::Task<std::vector<CalendarEvent>> events(Support::Date start, Support::Date end,
                                                             std::vector<std::string> calendarIDs) = 0;
    /// Calls `onChange` on the main loop once for every change of the store's data.
    [[nodiscard]] virtual Support::Subscription observeChanges(std::function<void()> onChange) = 0;
};

} // namespace Platform

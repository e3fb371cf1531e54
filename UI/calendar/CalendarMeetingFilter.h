// Decides which calendar events are online meetings, and builds the meetings. Pure: the same events give
// the same meetings on any thread. Every dropped event has a named rule (`DropRule`), which
// `vellmora meetings --explain` prints.
#pragma once

#include "UI/calendar/CalendarEventFields.h"
#include "UI/calendar/CalendarMeeting.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct CalendarMeetingFilter {
    /// The rules in the order they are tried; the first that fails drops the event.
    enum class DropRule {
        outOfRange,
        allDay,
        canceled,
        excludedCalendar,
        notAfterStart,
        declined,
        noLink,
        duplicate
    };
    /// Where the meeting's link was found, in the order they are searched.
    enum class LinkSource { url, conference, location, notes, htmlNotes };

    struct Decision {
        std::optional<CalendarMeeting> meeting;
        /// Set when `meeting` is empty.
        std::optional<DropRule> droppedBy;
        /// Set when `meeting` is set.
        std::optional<LinkSource> linkSource;
    };

    static std::optional<CalendarMeeting> meeting(const CalendarEventFields& event,
                                                  const std::set<std::string>& excluding);
    /// The meetings of `events`, by start then occurrence key, one per occurrence key.
    static std::vector<CalendarMeeting> meetings(const std::vector<CalendarEventFields>& events,
                                                 const std::set<std::string>& excluding);

    /// The same decision with its reason.
    static Decision decide(const CalendarEventFields& event, const std::set<std::string>& excluding);
    /// One decision per event, in the order of `events`; copies of an occurrence already kept (same
    /// occurrence key, later in start order) are dropped as `duplicate`.
    static std::vector<Decision> decideAll(const std::vector<CalendarEventFields>& events,
                                           const std::set<std::string>& excluding);
};

/// "outOfRange", "allDay", "canceled", "excludedCalendar", "notAfterStart", "declined", "noLink",
/// "duplicate".
std::string_view rawValue(CalendarMeetingFilter::DropRule rule);
/// A sentence for people: "all-day event", "the event is canceled", ...
std::string_view explanation(CalendarMeetingFilter::DropRule rule);
/// "url", "conference", "location", "notes", "htmlNotes".
std::string_view rawValue(CalendarMeetingFilter::LinkSource source);

} // namespace UI

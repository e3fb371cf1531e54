#include "Platform/Linux/ICalendarExpansion.h"

#include "Platform/Linux/ICalendarEventProperties.h"
#include "Platform/Linux/ICalendarTimeZoneNames.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <libical/ical.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <mutex>
#include <set>
#include <stdexcept>
#include <unordered_map>

namespace Platform {

namespace {

const Support::Logger log("calendarStore");

using ScannedFile = ICalendarScannedFile;

// libical keeps global state (built-in time zones, error flags): one caller at a time.
std::mutex& libicalMutex() {
    static std::mutex m;
    return m;
}

void initLibical() {
    static std::once_flag once;
    std::call_once(once, [] {
        icalerror_set_errors_are_fatal(0);
        icaltimezone_set_builtin_tzdata(0); // the system zone database
    });
}

struct Context {
    icaltimezone* userZone = nullptr;
    std::set<std::string> userEmails; // lower-cased
    /// The zone of each TZID without a VTIMEZONE block, looked up once (nullptr: not known).
    mutable std::unordered_map<std::string, icaltimezone*> namedZones;
};

struct IcalFree {
    void operator()(icalcomponent* c) const { icalcomponent_free(c); }
};
using ComponentPtr = std::unique_ptr<icalcomponent, IcalFree>;

/// The zone a TZID names: the file's VTIMEZONE block of that name, else the zone database's zone for its
/// spelling (IANA, Windows, vendor-prefixed), else nothing.
icaltimezone* zoneNamed(icalcomponent* root, const char* tzid, const Context& ctx) {
    if (!tzid || !*tzid) {
        return nullptr;
    }
    if (auto* zone = icalcomponent_get_timezone(root, tzid)) {
        return zone;
    }
    auto [cached, isNew] = ctx.namedZones.try_emplace(tzid, nullptr);
    if (!isNew) {
        return cached->second;
    }
    cached->second = ICalendarTimeZoneNames::databaseZone(tzid);
    return cached->second;
}

const char* tzidOf(icalproperty* prop) {
    auto* param = prop ? icalproperty_get_first_parameter(prop, ICAL_TZID_PARAMETER) : nullptr;
    return param ? icalparameter_get_tzid(param) : nullptr;
}

icaltimezone* zoneOfProperty(icalproperty* prop, icalcomponent* root, const Context& ctx) {
    return zoneNamed(root, tzidOf(prop), ctx);
}

/// The TZID of an event's start or end that no VTIMEZONE and no zone database entry explains.
std::optional<std::string> unknownZoneOf(icalcomponent* event, icalcomponent* root, const Context& ctx) {
    for (auto kind : {ICAL_DTSTART_PROPERTY, ICAL_DTEND_PROPERTY}) {
        const char* tzid = tzidOf(icalcomponent_get_first_property(event, kind));
        if (tzid && *tzid && !zoneNamed(root, tzid, ctx)) {
            return std::string(tzid);
        }
    }
    return std::nullopt;
}

/// The instant of a time value: UTC as it is, a zoned time in its zone, a floating time or a date in the
/// user's zone (a date at its midnight).
std::optional<std::int64_t> unixOf(icaltimetype t, const Context& ctx) {
    if (icaltime_is_null_time(t)) {
        return std::nullopt;
    }
    if (t.is_date) {
        t.is_date = 0;
        t.hour = t.minute = t.second = 0;
        t.zone = nullptr;
    }
    if ((t.year < 1900 || t.year >= 2200) && t.month >= 1 && t.month <= 12 && t.day >= 1 && t.day <= 31) {
        // No calendar means such a year, and libical calls years past 3000 invalid: read it as UTC, so that
        // the occurrence is seen to lie out of range rather than lose its end.
        return ICalendarScanner::daysFromCivil(t.year, static_cast<unsigned>(t.month),
                                               static_cast<unsigned>(t.day)) *
                   86400 +
               t.hour * 3600 + t.minute * 60 + t.second;
    }
    if (!icaltime_is_valid_time(t)) {
        return std::nullopt;
    }
    if (icaltime_is_utc(t)) {
        return static_cast<std::int64_t>(icaltime_as_timet_with_zone(t, icaltimezone_get_utc_timezone()));
    }
    auto* zone = t.zone ? const_cast<icaltimezone*>(t.zone) : ctx.userZone;
    return static_cast<std::int64_t>(
        icaltime_as_timet_with_zone(t, zone ? zone : icaltimezone_get_utc_timezone()));
}

/// A date-time property's value with its zone resolved (VTIMEZONE of the file, else the zone database).
icaltimetype timeOfProperty(icalproperty* prop, icaltimetype value, icalcomponent* root, const Context& ctx) {
    if (!icaltime_is_utc(value) && !value.is_date && value.zone == nullptr) {
        value.zone = zoneOfProperty(prop, root, ctx);
    }
    return value;
}

std::optional<std::string> textOf(const char* s) {
    if (!s || !*s) {
        return std::nullopt;
    }
    return std::string(s);
}

/// The texts and people every occurrence of a component shares. An override takes what it lacks from its
/// series.
using EventTemplate = ICalendarEventProperties;

EventTemplate templateOf(icalcomponent* c, const Context& ctx, const EventTemplate* series) {
    auto t = ICalendarEventProperties::of(c, ctx.userEmails);
    if (series) {
        if (!t.title) {
            t.title = series->title;
        }
        if (!t.url) {
            t.url = series->url;
        }
        if (!t.location) {
            t.location = series->location;
        }
        if (t.conferenceURLs.empty()) {
            t.conferenceURLs = series->conferenceURLs;
        }
        if (!t.notes) {
            t.notes = series->notes;
            t.htmlNotes = series->htmlNotes;
        }
        if (t.attendees.empty()) {
            t.attendees = series->attendees;
        }
        if (!t.organizer) {
            t.organizer = series->organizer;
        }
    }
    return t;
}

/// An occurrence found by the expansion: its times and the component (a master or an override) whose texts
/// and people it shows.
struct Occurrence {
    icalcomponent* source = nullptr;
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::optional<std::int64_t> original;
    bool allDay = false;
    /// The TZID of its start or end that nothing explains (the time was read as floating).
    std::optional<std::string> unknownZone;
};

Support::Date dateOf(std::int64_t unix) {
    return Support::dateFromUnix(static_cast<double>(
        std::clamp(unix, CalendarEvent::earliestUnixSeconds, CalendarEvent::latestUnixSeconds)));
}

CalendarEvent occurrence(const EventTemplate& t, const std::string& calendarID, const Occurrence& o) {
    CalendarEvent e;
    e.calendarItemID = t.uid;
    e.externalID = t.uid.empty() ? std::nullopt : std::optional<std::string>(t.uid);
    e.calendarID = calendarID;
    e.title = t.title.value_or("");
    // Times no calendar means (a typo'd year, a duration of millennia) are kept inside the range and marked,
    // so that the filter drops the event with a reason instead of turning it into garbage times.
    e.timesOutOfRange = !CalendarEvent::isWithinRange(o.start, o.end) ||
                        (o.original && !CalendarEvent::isWithinRange(*o.original, *o.original));
    e.start = dateOf(o.start);
    e.end = dateOf(o.end);
    if (o.original) {
        e.occurrenceDate = dateOf(*o.original);
    }
    e.isAllDay = o.allDay;
    e.unknownTimeZone = o.unknownZone;
    e.status = t.status;
    e.url = t.url;
    e.conferenceURLs = t.conferenceURLs;
    e.location = t.location;
    e.notes = t.notes;
    e.htmlNotes = t.htmlNotes;
    e.attendees = t.attendees;
    e.organizer = t.organizer;
    return e;
}

/// Limits that keep a hostile rule ("every second since 1900") from running for ever.
constexpr int maxIterationsPerRule = 200000;
constexpr int maxOccurrencesPerSeries = 5000;

struct Range {
    std::int64_t start;
    std::int64_t end;
    bool overlaps(std::int64_t s, std::int64_t e) const {
        return s < end && (e > start || (s == e && s >= start));
    }
};

/// A duration in seconds, without libical's int arithmetic (which overflows on "P99999999W").
std::int64_t secondsOf(icaldurationtype d) {
    if (icaldurationtype_is_bad_duration(d)) {
        return 0;
    }
    auto total = static_cast<std::int64_t>(d.weeks) * 7 * 86400 + static_cast<std::int64_t>(d.days) * 86400 +
                 static_cast<std::int64_t>(d.hours) * 3600 + static_cast<std::int64_t>(d.minutes) * 60 +
                 static_cast<std::int64_t>(d.seconds);
    return d.is_neg ? -total : total;
}

std::int64_t durationOf(icalcomponent* c, icaltimetype dtstart, std::int64_t startUnix, const Context& ctx,
                        icalcomponent* root) {
    if (auto* p = icalcomponent_get_first_property(c, ICAL_DTEND_PROPERTY)) {
        auto end = unixOf(timeOfProperty(p, icalproperty_get_dtend(p), root, ctx), ctx);
        return end ? std::max<std::int64_t>(0, *end - startUnix) : 0;
    }
    if (auto* p = icalcomponent_get_first_property(c, ICAL_DURATION_PROPERTY)) {
        return std::max<std::int64_t>(0, secondsOf(icalproperty_get_duration(p)));
    }
    return dtstart.is_date ? 86400 : 0;
}

/// Every occurrence of the calendar's events within the range: overrides first (they hide occurrences of
/// their series), then the series' occurrences. Reads only the events' timing properties and UIDs.
std::vector<Occurrence> occurrencesIn(icalcomponent* root, const Range& range, const Context& ctx) {
    std::vector<Occurrence> out;
    std::vector<icalcomponent*> masters;
    std::vector<icalcomponent*> overrides;
    for (auto* c = icalcomponent_get_first_component(root, ICAL_VEVENT_COMPONENT); c;
         c = icalcomponent_get_next_component(root, ICAL_VEVENT_COMPONENT)) {
        (icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY) ? overrides : masters).push_back(c);
    }
    std::unordered_map<std::string, std::set<std::int64_t>> overridden;

    for (auto* c : overrides) {
        auto* ridProp = icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY);
        auto original =
            unixOf(timeOfProperty(ridProp, icalproperty_get_recurrenceid(ridProp), root, ctx), ctx);
        auto uid = textOf(icalcomponent_get_uid(c)).value_or("");
        if (original) {
            overridden[uid].insert(*original);
        }
        auto* startProp = icalcomponent_get_first_property(c, ICAL_DTSTART_PROPERTY);
        if (!startProp) {
            continue;
        }
        auto dtstart = timeOfProperty(startProp, icalproperty_get_dtstart(startProp), root, ctx);
        auto start = unixOf(dtstart, ctx);
        if (!start) {
            continue;
        }
        auto end = *start + durationOf(c, dtstart, *start, ctx, root);
        if (range.overlaps(*start, end)) {
            out.push_back({c, *start, end, original, dtstart.is_date != 0, unknownZoneOf(c, root, ctx)});
        }
    }
    for (auto* c : masters) {
        auto uid = textOf(icalcomponent_get_uid(c)).value_or("");
        auto* startProp = icalcomponent_get_first_property(c, ICAL_DTSTART_PROPERTY);
        if (!startProp) {
            continue;
        }
        auto dtstart = timeOfProperty(startProp, icalproperty_get_dtstart(startProp), root, ctx);
        auto start = unixOf(dtstart, ctx);
        if (!start) {
            continue;
        }
        auto duration = durationOf(c, dtstart, *start, ctx, root);
        bool allDay = dtstart.is_date != 0;
        auto* rrule = icalcomponent_get_first_property(c, ICAL_RRULE_PROPERTY);
        auto* rdate = icalcomponent_get_first_property(c, ICAL_RDATE_PROPERTY);
        if (!rrule && !rdate) {
            if (range.overlaps(*start, *start + duration)) {
                out.push_back(
                    {c, *start, *start + duration, std::nullopt, allDay, unknownZoneOf(c, root, ctx)});
            }
            continue;
        }
        std::set<std::int64_t> excluded;
        std::set<std::int64_t> excludedDays;
        for (auto* p = icalcomponent_get_first_property(c, ICAL_EXDATE_PROPERTY); p;
             p = icalcomponent_get_next_property(c, ICAL_EXDATE_PROPERTY)) {
            auto ex = timeOfProperty(p, icalproperty_get_exdate(p), root, ctx);
            if (ex.is_date) {
                excludedDays.insert(ICalendarScanner::daysFromCivil(ex.year, static_cast<unsigned>(ex.month),
                                                                    static_cast<unsigned>(ex.day)));
            } else if (auto u = unixOf(ex, ctx)) {
                excluded.insert(*u);
            }
        }
        const auto& skip = overridden[uid];
        auto unknownZone = unknownZoneOf(c, root, ctx);
        std::set<std::int64_t> emitted;
        int count = 0;
        auto emit = [&](icaltimetype local, std::int64_t occStart, std::int64_t occDuration) {
            if (excluded.count(occStart) || skip.count(occStart) || !emitted.insert(occStart).second) {
                return;
            }
            if (!excludedDays.empty() &&
                excludedDays.count(ICalendarScanner::daysFromCivil(
                    local.year, static_cast<unsigned>(local.month), static_cast<unsigned>(local.day)))) {
                return;
            }
            if (range.overlaps(occStart, occStart + occDuration) && count < maxOccurrencesPerSeries) {
                ++count;
                out.push_back({c, occStart, occStart + occDuration, occStart, allDay, unknownZone});
            }
        };
        for (auto* p = rrule; p; p = icalcomponent_get_next_property(c, ICAL_RRULE_PROPERTY)) {
            auto recur = icalproperty_get_rrule(p);
            auto* it = icalrecur_iterator_new(recur, dtstart);
            if (!it) {
                continue;
            }
            // Jump close to the range for long-running rules (not possible with COUNT, which must be
            // counted).
            std::int64_t jumpTo = range.start - duration - 2 * 86400;
            if (recur.count == 0 && *start < jumpTo) {
                auto* zone = dtstart.zone ? const_cast<icaltimezone*>(dtstart.zone)
                                          : (ctx.userZone ? ctx.userZone : icaltimezone_get_utc_timezone());
                auto from = icaltime_from_timet_with_zone(static_cast<time_t>(jumpTo), dtstart.is_date, zone);
                from.zone = dtstart.zone;
                icalrecur_iterator_set_start(it, from);
            }
            for (int i = 0; i < maxIterationsPerRule; ++i) {
                auto next = icalrecur_iterator_next(it);
                if (icaltime_is_null_time(next)) {
                    break;
                }
                next.zone = dtstart.zone;
                next.is_date = dtstart.is_date;
                auto occ = unixOf(next, ctx);
                if (!occ || *occ >= range.end) {
                    break;
                }
                emit(next, *occ, duration);
            }
            icalrecur_iterator_free(it);
            // the first RRULE that iterates at all is followed by the others (rare) in turn
        }
        for (auto* p = rdate; p; p = icalcomponent_get_next_property(c, ICAL_RDATE_PROPERTY)) {
            auto value = icalproperty_get_rdate(p);
            bool isPeriod = !icalperiodtype_is_null_period(value.period);
            auto local = timeOfProperty(p, isPeriod ? value.period.start : value.time, root, ctx);
            auto occ = unixOf(local, ctx);
            if (!occ) {
                continue;
            }
            std::int64_t occDuration = duration;
            if (isPeriod) {
                auto periodEnd = icaltime_is_null_time(value.period.end)
                                     ? std::optional<std::int64_t>(*occ + secondsOf(value.period.duration))
                                     : unixOf(timeOfProperty(p, value.period.end, root, ctx), ctx);
                occDuration = periodEnd ? std::max<std::int64_t>(0, *periodEnd - *occ) : duration;
            }
            emit(local, *occ, occDuration);
        }
    }
    return out;
}

/// Whether a property decides when an event occurs (the first pass reads only these).
bool isTimingProperty(std::string_view name) {
    static constexpr std::string_view names[] = {"UID",   "DTSTART", "DTEND",  "DURATION",
                                                 "RRULE", "RDATE",   "EXDATE", "RECURRENCE-ID"};
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

/// An event block with only its timing lines (folded continuations included) and no nested components.
std::string skeletonOf(std::string_view block) {
    std::string out;
    int depth = 0;
    bool keep = false;
    std::size_t pos = 0;
    while (pos < block.size()) {
        auto nl = block.find('\n', pos);
        std::size_t next = nl == std::string_view::npos ? block.size() : nl + 1;
        std::string_view line = block.substr(pos, next - pos);
        pos = next;
        if (line[0] != ' ' && line[0] != '\t') {
            auto name = ICalendarScanner::nameOf(line);
            if (name == "BEGIN" || name == "END") {
                depth += name == "BEGIN" ? 1 : -1;
                keep = depth == (name == "BEGIN" ? 1 : 0);
            } else {
                keep = depth == 1 && isTimingProperty(name);
            }
        }
        if (keep) {
            out.append(line);
        }
    }
    return out;
}

constexpr const char* blockMarker = "X-VELLMORA-BLOCK";

/// Appends an event block with a first property naming its index among the candidates, so that a component
/// of either pass can be traced back to its block.
void appendMarked(std::string& out, std::string_view block, std::size_t index) {
    // The marker goes after the BEGIN line and its folded continuations.
    std::size_t cut = block.find('\n');
    while (cut != std::string_view::npos && cut + 1 < block.size() &&
           (block[cut + 1] == ' ' || block[cut + 1] == '\t')) {
        cut = block.find('\n', cut + 1);
    }
    cut = cut == std::string_view::npos ? block.size() : cut + 1;
    out.append(block.substr(0, cut));
    if (out.back() != '\n') {
        out += "\r\n";
    }
    out.append(blockMarker).append(":").append(std::to_string(index)).append("\r\n");
    out.append(block.substr(cut));
    if (out.back() != '\n') {
        out += "\r\n";
    }
}

/// The candidate index of a component: the first marker, which is ours (one the file carries comes later).
std::optional<std::size_t> markerOf(icalcomponent* c) {
    for (auto* p = icalcomponent_get_first_property(c, ICAL_X_PROPERTY); p;
         p = icalcomponent_get_next_property(c, ICAL_X_PROPERTY)) {
        const char* name = icalproperty_get_x_name(p);
        if (name && std::strcmp(name, blockMarker) == 0) {
            const char* value = icalproperty_get_x(p);
            std::size_t index = 0;
            auto length = value ? std::strlen(value) : 0;
            auto [end, ec] = std::from_chars(value, value + length, index);
            if (!value || ec != std::errc() || end != value + length) {
                return std::nullopt;
            }
            return index;
        }
    }
    return std::nullopt;
}

/// A calendar of the time zones and the chosen event blocks, whole or as skeletons, each marked with its
/// index.
std::string documentOf(const std::vector<std::string>& timezones, const std::vector<std::string>& blocks,
                       const std::vector<bool>& chosen, bool skeletons) {
    std::string text = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n";
    for (const auto& zone : timezones) {
        text.append(zone);
        if (text.back() != '\n') {
            text += "\r\n";
        }
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (chosen[i]) {
            appendMarked(text, skeletons ? skeletonOf(blocks[i]) : blocks[i], i);
        }
    }
    text += "END:VCALENDAR\r\n";
    return text;
}

ComponentPtr parsed(const std::string& text) {
    ComponentPtr root(icalparser_parse_string(text.c_str()));
    if (!root) {
        throw std::runtime_error("libical cannot read the file");
    }
    return root;
}

/// The texts and people of the marked events of a calendar, by candidate index, for the indexes asked for.
/// An override takes what it leaves out from the first master of its UID.
std::unordered_map<std::size_t, EventTemplate>
templatesOf(icalcomponent* root, const std::set<std::size_t>& wanted, const Context& ctx) {
    std::unordered_map<std::string, icalcomponent*> seriesByUID;
    std::vector<std::pair<std::size_t, icalcomponent*>> marked;
    for (auto* c = icalcomponent_get_first_component(root, ICAL_VEVENT_COMPONENT); c;
         c = icalcomponent_get_next_component(root, ICAL_VEVENT_COMPONENT)) {
        if (!icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY)) {
            seriesByUID.emplace(textOf(icalcomponent_get_uid(c)).value_or(""), c);
        }
        if (auto index = markerOf(c); index && wanted.count(*index)) {
            marked.emplace_back(*index, c);
        }
    }
    std::unordered_map<icalcomponent*, EventTemplate> masters;
    auto masterTemplate = [&](icalcomponent* c) -> const EventTemplate& {
        auto found = masters.find(c);
        if (found == masters.end()) {
            found = masters.emplace(c, templateOf(c, ctx, nullptr)).first;
        }
        return found->second;
    };
    std::unordered_map<std::size_t, EventTemplate> out;
    for (auto [index, c] : marked) {
        if (!icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY)) {
            out.emplace(index, masterTemplate(c));
            continue;
        }
        auto series = seriesByUID.find(textOf(icalcomponent_get_uid(c)).value_or(""));
        out.emplace(
            index,
            templateOf(c, ctx, series == seriesByUID.end() ? nullptr : &masterTemplate(series->second)));
    }
    return out;
}

/// The occurrences of the file's events within [start, end), in two passes. The first expands the events near
/// the range from their timing lines alone: a long-running series of a large calendar carries its whole
/// invitation text, which would be most of libical's parsing time. The second parses whole only the events
/// of the UIDs that occur (an override takes its series' texts) and gives each occurrence its texts and
/// people.
} // namespace

std::vector<CalendarEvent> ICalendarExpansion::occurrences(const ICalendarScannedFile& file,
                                                           const std::string& calendarID, std::int64_t start,
                                                           std::int64_t end, const std::string& timeZoneID,
                                                           const std::vector<std::string>& userEmails) {
    std::int64_t fromDay = start / 86400 - 2;
    std::int64_t toDay = end / 86400 + 2;
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    for (const auto& event : file.events) {
        if (event.mayOverlap(fromDay, toDay)) {
            ranges.emplace_back(event.begin, event.end);
        }
    }
    std::vector<CalendarEvent> out;
    if (ranges.empty()) {
        return out;
    }
    std::size_t candidates = ranges.size();
    ranges.insert(ranges.end(), file.timezones.begin(), file.timezones.end());
    auto bytes = ICalendarScanner::blocks(file, ranges);
    if (!bytes) {
        // Changed since it was scanned (the watcher will have it scanned again): read it whole this once.
        return occurrences(ICalendarScanner::scanFile(*file.path, true), calendarID, start, end, timeZoneID,
                           userEmails);
    }
    std::vector<std::string> timezones(
        std::make_move_iterator(bytes->begin() + static_cast<std::ptrdiff_t>(candidates)),
        std::make_move_iterator(bytes->end()));
    bytes->resize(candidates);
    const auto& blocks = *bytes;

    std::lock_guard lock(libicalMutex());
    initLibical();
    Context ctx;
    if (!timeZoneID.empty()) {
        ctx.userZone = icaltimezone_get_builtin_timezone(timeZoneID.c_str());
    }
    for (const auto& email : userEmails) {
        ctx.userEmails.insert(Support::Text::asciiLowercased(email));
    }

    auto timings = parsed(documentOf(timezones, blocks, std::vector<bool>(candidates, true), true));
    auto occurrences = occurrencesIn(timings.get(), Range{start, end}, ctx);
    if (occurrences.empty()) {
        return out;
    }
    std::set<std::string> occurringUIDs;
    std::set<std::size_t> sources;
    for (const auto& o : occurrences) {
        occurringUIDs.insert(textOf(icalcomponent_get_uid(o.source)).value_or(""));
        if (auto index = markerOf(o.source)) {
            sources.insert(*index);
        }
    }
    std::vector<bool> chosen(candidates);
    for (auto* c = icalcomponent_get_first_component(timings.get(), ICAL_VEVENT_COMPONENT); c;
         c = icalcomponent_get_next_component(timings.get(), ICAL_VEVENT_COMPONENT)) {
        auto index = markerOf(c);
        if (index && *index < candidates &&
            occurringUIDs.count(textOf(icalcomponent_get_uid(c)).value_or(""))) {
            chosen[*index] = true;
        }
    }
    auto whole = parsed(documentOf(timezones, blocks, chosen, false));
    auto templates = templatesOf(whole.get(), sources, ctx);
    out.reserve(occurrences.size());
    for (const auto& o : occurrences) {
        auto index = markerOf(o.source);
        auto t = index ? templates.find(*index) : templates.end();
        if (t == templates.end()) {
            // libical read the whole block differently from its timing lines: show the times at least.
            log.warning("The texts of event {} cannot be read",
                        textOf(icalcomponent_get_uid(o.source)).value_or(""));
            out.push_back(occurrence(templateOf(o.source, ctx, nullptr), calendarID, o));
            continue;
        }
        out.push_back(occurrence(t->second, calendarID, o));
    }
    return out;
}

} // namespace Platform

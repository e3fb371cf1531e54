#include "Platform/Linux/ICalendarStore.h"

#include "Platform/Linux/ICalendarTimeZoneNames.h"

#include "Support/BlockingWork.h"
#include "Support/Files.h"
#include "Support/Log.h"
#include "Support/MainLoop.h"

#include <curl/curl.h>
#include <libical/ical.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <strings.h>
#include <unordered_map>

namespace fs = std::filesystem;

namespace Platform {

namespace {

const Support::Logger log("calendarStore");

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

std::string lowerAscii(std::string_view s) {
    std::string out(s);
    for (auto& c : out) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return out;
}

bool startsWith(std::string_view s, std::string_view p) {
    return s.substr(0, p.size()) == p;
}

// ---------------------------------------------------------------------------------------------------------
// Scanning: the file's structure is checked and its events indexed without libical, so that a large
// calendar only hands the events near the asked range to the (much slower) full parser.

constexpr std::int64_t unknownDay = INT64_MIN;

/// Days since 1970-01-01 of a civil date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

/// The day of a "YYYYMMDD..." value (after the last ':' of a content line), or unknownDay.
std::int64_t dayOfValue(std::string_view value) {
    if (value.size() < 8) {
        return unknownDay;
    }
    for (int i = 0; i < 8; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(value[i]))) {
            return unknownDay;
        }
    }
    auto num = [&](int from, int len) {
        int v = 0;
        for (int i = from; i < from + len; ++i) {
            v = v * 10 + (value[i] - '0');
        }
        return v;
    };
    int m = num(4, 2);
    int d = num(6, 2);
    if (m < 1 || m > 12 || d < 1 || d > 31) {
        return unknownDay;
    }
    return daysFromCivil(num(0, 4), static_cast<unsigned>(m), static_cast<unsigned>(d));
}

/// Whole days (rounded up) of a DURATION value such as "PT30M", "P1DT2H" or "P2W", or unknownDay when it
/// does not read as one. A negative duration counts as none.
std::int64_t durationDaysOf(std::string_view value) {
    bool negative = false;
    if (!value.empty() && (value[0] == '+' || value[0] == '-')) {
        negative = value[0] == '-';
        value.remove_prefix(1);
    }
    if (value.empty() || value[0] != 'P') {
        return unknownDay;
    }
    std::int64_t seconds = 0;
    std::int64_t number = -1;
    bool inTime = false;
    for (char c : value.substr(1)) {
        if (c >= '0' && c <= '9') {
            number = (number < 0 ? 0 : number) * 10 + (c - '0');
            if (number > 100'000'000) {
                return unknownDay;
            }
            continue;
        }
        if (c == 'T' && number < 0 && !inTime) {
            inTime = true;
            continue;
        }
        std::int64_t unit = 0;
        switch (inTime ? c : static_cast<char>(c | 0x80)) {
        case 'H':
            unit = 3600;
            break;
        case 'M':
            unit = 60;
            break;
        case 'S':
            unit = 1;
            break;
        case static_cast<char>('W' | 0x80):
            unit = 7 * 86400;
            break;
        case static_cast<char>('D' | 0x80):
            unit = 86400;
            break;
        default:
            break;
        }
        if (unit == 0 || number < 0) {
            return unknownDay;
        }
        seconds += number * unit;
        number = -1;
    }
    if (number >= 0) {
        return unknownDay;
    }
    return negative ? 0 : (seconds + 86399) / 86400;
}

struct EventBlock {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::int64_t startDay = unknownDay;
    std::int64_t endDay = unknownDay;
    std::int64_t untilDay = unknownDay;
    std::int64_t recurrenceDay = unknownDay;
    std::int64_t durationDays = unknownDay;
    bool hasDuration = false;
    bool hasRule = false;
    bool hasRDate = false;
    bool isOverride = false;
};

/// What tells whether a file still holds the content that was scanned.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0; // nanoseconds
    bool operator==(const FileIdentity&) const = default;
};

FileIdentity identityOf(const struct stat& st) {
    return {st.st_dev, st.st_ino, st.st_size,
            static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec};
}

struct ScannedFile {
    /// The whole text of a calendar given as text. A file on disk is not kept in memory (a large calendar
    /// would stay resident for the life of the program): its text is dropped after the scan and the blocks
    /// near an asked range are read again from `path`, as long as it is still the file scanned.
    std::string text;
    std::optional<fs::path> path;
    FileIdentity identity;
    std::vector<std::pair<std::size_t, std::size_t>> timezones;
    std::vector<EventBlock> events;
    std::string calendarName;
    std::string color;
};

std::string_view valueOf(std::string_view line) {
    // The value follows the first ':' that is not inside a quoted parameter value.
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"') {
            quoted = !quoted;
        } else if (line[i] == ':' && !quoted) {
            return line.substr(i + 1);
        }
    }
    return {};
}

/// The property name of a content line ("DTSTART" of "DTSTART;TZID=...:..."), upper-cased.
std::string nameOf(std::string_view line) {
    std::size_t i = 0;
    while (i < line.size() && line[i] != ':' && line[i] != ';') {
        ++i;
    }
    std::string name(line.substr(0, i));
    for (auto& c : name) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return name;
}

/// Indexes a calendar's text line by line, so that a file can be read in pieces: fed whole lines (with
/// their line ends) and their offsets in the text, it checks the structure and notes each event's and time
/// zone's block with the dates that place it.
class Scanner {
public:
    void feed(std::string_view rawLine, std::size_t offset) {
        if (offset == 0 && rawLine.substr(0, 3) == "\xEF\xBB\xBF") {
            rawLine.remove_prefix(3); // a UTF-8 byte-order mark
            offset = 3;
        }
        std::size_t lineStart = offset;
        std::size_t pos = offset + rawLine.size();
        std::string_view line = rawLine;
        if (!line.empty() && line.back() == '\n') {
            line.remove_suffix(1);
        }
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (line.empty() || line[0] == ' ' || line[0] == '\t') {
            return; // blank or a folded continuation
        }
        auto name = nameOf(line);
        if (name == "BEGIN" || name == "END") {
            auto component = nameOf(valueOf(line));
            if (component.empty()) {
                throw std::runtime_error("line " + std::to_string(lineNumber) + ": " + name +
                                         " without a component");
            }
            if (name == "BEGIN") {
                if (stack.empty() && component != "VCALENDAR") {
                    throw std::runtime_error("line " + std::to_string(lineNumber) +
                                             ": expected BEGIN:VCALENDAR, found BEGIN:" + component);
                }
                if (stack.size() > 32) {
                    throw std::runtime_error("line " + std::to_string(lineNumber) +
                                             ": components nested too deeply");
                }
                sawCalendar = true;
                stack.push_back(component);
                if (stack.size() == 2) {
                    blockBegin = lineStart;
                    current = EventBlock{};
                }
            } else {
                if (stack.empty() || stack.back() != component) {
                    throw std::runtime_error("line " + std::to_string(lineNumber) + ": END:" + component +
                                             (stack.empty() ? " outside any component"
                                                            : " where END:" + stack.back() + " belongs"));
                }
                if (stack.size() == 2) {
                    std::size_t blockEnd = pos;
                    if (component == "VEVENT") {
                        current.begin = blockBegin;
                        current.end = blockEnd;
                        file.events.push_back(current);
                    } else if (component == "VTIMEZONE") {
                        file.timezones.emplace_back(blockBegin, blockEnd);
                    }
                }
                stack.pop_back();
            }
            return;
        }
        if (stack.size() == 1) {
            if (name == "X-WR-CALNAME") {
                file.calendarName = std::string(valueOf(line));
            } else if (name == "X-APPLE-CALENDAR-COLOR" || name == "COLOR") {
                file.color = std::string(valueOf(line));
            }
        } else if (stack.size() == 2 && stack.back() == "VEVENT") {
            if (name == "DTSTART") {
                current.startDay = dayOfValue(valueOf(line));
            } else if (name == "DTEND") {
                current.endDay = dayOfValue(valueOf(line));
            } else if (name == "DURATION") {
                current.hasDuration = true;
                current.durationDays = durationDaysOf(valueOf(line));
            } else if (name == "RRULE") {
                current.hasRule = true;
                auto value = valueOf(line);
                auto until = lowerAscii(value).find("until=");
                current.untilDay =
                    until == std::string::npos ? unknownDay : dayOfValue(value.substr(until + 6));
                if (until == std::string::npos) {
                    current.untilDay = INT64_MAX;
                }
            } else if (name == "RDATE") {
                current.hasRDate = true;
            } else if (name == "RECURRENCE-ID") {
                current.isOverride = true;
                current.recurrenceDay = dayOfValue(valueOf(line));
            }
        }
    }

    ScannedFile finish() {
        if (!stack.empty()) {
            throw std::runtime_error("the file ends inside " + stack.back());
        }
        if (!sawCalendar) {
            throw std::runtime_error("no BEGIN:VCALENDAR: not an iCalendar file");
        }
        return std::move(file);
    }

private:
    ScannedFile file;
    std::vector<std::string> stack;
    std::size_t blockBegin = 0;
    EventBlock current;
    bool sawCalendar = false;
    std::size_t lineNumber = 0;
};

ScannedFile scan(std::string_view text) {
    Scanner scanner;
    std::size_t pos = 0;
    while (pos < text.size()) {
        auto nl = text.find('\n', pos);
        std::size_t next = nl == std::string_view::npos ? text.size() : nl + 1;
        scanner.feed(text.substr(pos, next - pos), pos);
        pos = next;
    }
    return scanner.finish();
}

/// Reads what comes next from an open file into `into` (at most `size` bytes); 0 at its end.
std::size_t readSome(int fd, char* into, std::size_t size) {
    for (;;) {
        auto n = ::read(fd, into, size);
        if (n >= 0) {
            return static_cast<std::size_t>(n);
        }
        if (errno != EINTR) {
            throw std::runtime_error(std::string("cannot read the file: ") + std::strerror(errno));
        }
    }
}

/// The whole content of an open file.
std::string readAll(int fd, std::size_t sizeHint) {
    std::string content(sizeHint, '\0');
    std::size_t filled = 0;
    for (;;) {
        if (filled == content.size()) {
            content.resize(content.size() + 64 * 1024);
        }
        auto n = readSome(fd, content.data() + filled, content.size() - filled);
        if (n == 0) {
            break;
        }
        filled += n;
    }
    content.resize(filled);
    return content;
}

struct FileDescriptor {
    int fd;
    explicit FileDescriptor(const fs::path& path) : fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd < 0) {
            throw std::runtime_error(std::string("cannot read the file: ") + std::strerror(errno));
        }
    }
    ~FileDescriptor() { ::close(fd); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    struct stat status() const {
        struct stat st {};
        if (::fstat(fd, &st) != 0) {
            throw std::runtime_error(std::string("cannot read the file: ") + std::strerror(errno));
        }
        return st;
    }
};

/// Scans an open file a megabyte at a time, so that a large calendar is never in memory whole.
ScannedFile scanInPieces(int fd) {
    Scanner scanner;
    std::vector<char> buffer(std::size_t{1} << 20);
    std::string carry; // a line that runs on into the next piece
    std::size_t offset = 0;
    auto feed = [&](std::string_view line) {
        scanner.feed(line, offset);
        offset += line.size();
    };
    while (auto n = readSome(fd, buffer.data(), buffer.size())) {
        std::string_view piece(buffer.data(), n);
        std::size_t pos = 0;
        while (pos < piece.size()) {
            auto nl = piece.find('\n', pos);
            if (nl == std::string_view::npos) {
                carry.append(piece.substr(pos));
                break;
            }
            if (carry.empty()) {
                feed(piece.substr(pos, nl + 1 - pos));
            } else {
                carry.append(piece.substr(pos, nl + 1 - pos));
                feed(carry);
                carry.clear();
            }
            pos = nl + 1;
        }
    }
    if (!carry.empty()) {
        feed(carry);
    }
    return scanner.finish();
}

/// Scans a calendar file; `keepText` keeps its whole text in memory instead of reading blocks again later.
ScannedFile scanFile(const fs::path& path, bool keepText) {
    FileDescriptor file(path);
    auto st = file.status();
    ScannedFile scanned;
    if (keepText) {
        auto text = readAll(file.fd, static_cast<std::size_t>(std::max<off_t>(0, st.st_size)));
        scanned = scan(text);
        scanned.text = std::move(text);
    } else {
        scanned = scanInPieces(file.fd);
    }
    scanned.path = path;
    scanned.identity = identityOf(st);
    return scanned;
}

/// The bytes of the given ranges of a scanned file: from its text, or read again from its file. Nothing
/// when the file is no longer the one scanned.
std::optional<std::vector<std::string>>
rangesOf(const ScannedFile& file, const std::vector<std::pair<std::size_t, std::size_t>>& ranges) {
    std::vector<std::string> out;
    out.reserve(ranges.size());
    if (!file.path || !file.text.empty()) {
        for (auto [b, e] : ranges) {
            out.emplace_back(file.text, b, e - b);
        }
        return out;
    }
    FileDescriptor fd(*file.path);
    if (identityOf(fd.status()) != file.identity) {
        return std::nullopt;
    }
    for (auto [b, e] : ranges) {
        std::string bytes(e - b, '\0');
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            auto n =
                ::pread(fd.fd, bytes.data() + filled, bytes.size() - filled, static_cast<off_t>(b + filled));
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                return std::nullopt; // shortened since the scan
            }
            filled += static_cast<std::size_t>(n);
        }
        out.push_back(std::move(bytes));
    }
    return out;
}

/// Whether an event block can have an occurrence within [fromDay, toDay] (days, with a margin for zones).
bool mayOverlap(const EventBlock& e, std::int64_t fromDay, std::int64_t toDay) {
    auto near = [&](std::int64_t day) { return day == unknownDay || (day >= fromDay && day <= toDay); };
    if (e.isOverride) {
        // Needed when the original date is near (to hide that occurrence) or the new one is.
        if (near(e.recurrenceDay) || near(e.startDay)) {
            return true;
        }
        if (e.endDay != unknownDay) {
            return e.startDay < fromDay && e.endDay >= fromDay;
        }
        return e.hasDuration && e.startDay < fromDay &&
               (e.durationDays == unknownDay || e.startDay + e.durationDays >= fromDay);
    }
    if (e.startDay == unknownDay) {
        return true;
    }
    if (e.startDay > toDay && !e.hasRDate) {
        return false;
    }
    if (e.hasRule || e.hasRDate) {
        return e.hasRDate || e.untilDay == unknownDay || e.untilDay >= fromDay;
    }
    if (e.hasDuration && e.durationDays == unknownDay) {
        return true;
    }
    std::int64_t last = e.hasDuration            ? e.startDay + e.durationDays
                        : e.endDay != unknownDay ? e.endDay
                                                 : e.startDay;
    return last >= fromDay;
}

// ---------------------------------------------------------------------------------------------------------
// Expansion with libical.

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
    auto* zone = icaltimezone_get_builtin_timezone_from_tzid(tzid);
    if (!zone) {
        auto known = [](const std::string& id) {
            return icaltimezone_get_builtin_timezone(id.c_str()) != nullptr;
        };
        if (auto id = ICalendarTimeZoneNames::ianaID(tzid, known)) {
            zone = icaltimezone_get_builtin_timezone(id->c_str());
        }
    }
    cached->second = zone;
    return zone;
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
        return daysFromCivil(t.year, static_cast<unsigned>(t.month), static_cast<unsigned>(t.day)) * 86400 +
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

ParticipantStatus statusOf(icalproperty* prop, bool organizer) {
    auto* param = icalproperty_get_first_parameter(prop, ICAL_PARTSTAT_PARAMETER);
    if (!param) {
        return organizer ? ParticipantStatus::unknown : ParticipantStatus::pending;
    }
    switch (icalparameter_get_partstat(param)) {
    case ICAL_PARTSTAT_NEEDSACTION:
        return ParticipantStatus::pending;
    case ICAL_PARTSTAT_ACCEPTED:
        return ParticipantStatus::accepted;
    case ICAL_PARTSTAT_DECLINED:
        return ParticipantStatus::declined;
    case ICAL_PARTSTAT_TENTATIVE:
        return ParticipantStatus::tentative;
    case ICAL_PARTSTAT_DELEGATED:
        return ParticipantStatus::delegated;
    case ICAL_PARTSTAT_COMPLETED:
        return ParticipantStatus::completed;
    case ICAL_PARTSTAT_INPROCESS:
        return ParticipantStatus::inProcess;
    default:
        return ParticipantStatus::unknown;
    }
}

ParticipantType typeOf(icalproperty* prop) {
    auto* param = icalproperty_get_first_parameter(prop, ICAL_CUTYPE_PARAMETER);
    if (!param) {
        return ParticipantType::person; // the default user type is an individual
    }
    switch (icalparameter_get_cutype(param)) {
    case ICAL_CUTYPE_INDIVIDUAL:
        return ParticipantType::person;
    case ICAL_CUTYPE_GROUP:
        return ParticipantType::group;
    case ICAL_CUTYPE_RESOURCE:
        return ParticipantType::resource;
    case ICAL_CUTYPE_ROOM:
        return ParticipantType::room;
    default:
        return ParticipantType::unknown;
    }
}

CalendarParticipant participantOf(icalproperty* prop, bool organizer, const Context& ctx) {
    CalendarParticipant p;
    const char* address = organizer ? icalproperty_get_organizer(prop) : icalproperty_get_attendee(prop);
    p.url = textOf(address);
    if (auto* cn = icalproperty_get_first_parameter(prop, ICAL_CN_PARAMETER)) {
        p.name = textOf(icalparameter_get_cn(cn));
    }
    p.type = typeOf(prop);
    p.status = statusOf(prop, organizer);
    if (p.url) {
        auto lower = lowerAscii(*p.url);
        p.isCurrentUser = startsWith(lower, "mailto:") && ctx.userEmails.count(lower.substr(7)) > 0;
    }
    return p;
}

/// The fields every occurrence of a component shares. An override takes what it lacks from its series.
struct EventTemplate {
    std::string uid;
    std::string title;
    EventStatus status = EventStatus::none;
    std::optional<std::string> url, location, notes, htmlNotes;
    std::vector<std::string> conferences;
    std::vector<CalendarParticipant> attendees;
    std::optional<CalendarParticipant> organizer;
};

/// Whether a CONFERENCE property is for joining the call: one for video, or one that does not say.
bool isVideoConference(icalproperty* p) {
    auto* feature = icalproperty_get_first_parameter(p, ICAL_FEATURE_PARAMETER);
    if (!feature) {
        return true;
    }
    // FEATURE is a list ("AUDIO,VIDEO"), which libical keeps as one text.
    for (; feature; feature = icalproperty_get_next_parameter(p, ICAL_FEATURE_PARAMETER)) {
        const char* text = icalparameter_as_ical_string(feature);
        if (text && lowerAscii(text).find("video") != std::string::npos) {
            return true;
        }
    }
    return false;
}

EventTemplate templateOf(icalcomponent* c, const Context& ctx, const EventTemplate* series) {
    EventTemplate t;
    t.uid = textOf(icalcomponent_get_uid(c)).value_or("");
    bool hasSummary = false;
    std::optional<std::string> description;
    // The call's own properties, best first: CONFERENCE for video (or unlabelled), the vendors' properties,
    // then the other CONFERENCE values (audio, chat, ...), which may still hold a link.
    std::vector<std::string> videoConferences, vendorConferences, otherConferences;
    for (auto* p = icalcomponent_get_first_property(c, ICAL_ANY_PROPERTY); p;
         p = icalcomponent_get_next_property(c, ICAL_ANY_PROPERTY)) {
        switch (icalproperty_isa(p)) {
        case ICAL_SUMMARY_PROPERTY:
            t.title = textOf(icalproperty_get_summary(p)).value_or("");
            hasSummary = true;
            break;
        case ICAL_LOCATION_PROPERTY:
            t.location = textOf(icalproperty_get_location(p));
            break;
        case ICAL_DESCRIPTION_PROPERTY:
            description = textOf(icalproperty_get_description(p));
            break;
        case ICAL_URL_PROPERTY:
            t.url = textOf(icalproperty_get_url(p));
            break;
        case ICAL_STATUS_PROPERTY:
            switch (icalproperty_get_status(p)) {
            case ICAL_STATUS_CONFIRMED:
                t.status = EventStatus::confirmed;
                break;
            case ICAL_STATUS_TENTATIVE:
                t.status = EventStatus::tentative;
                break;
            case ICAL_STATUS_CANCELLED:
                t.status = EventStatus::canceled;
                break;
            default:
                break;
            }
            break;
        case ICAL_ATTENDEE_PROPERTY:
            t.attendees.push_back(participantOf(p, false, ctx));
            break;
        case ICAL_ORGANIZER_PROPERTY:
            t.organizer = participantOf(p, true, ctx);
            break;
        case ICAL_CONFERENCE_PROPERTY:
            if (auto value = textOf(icalproperty_get_conference(p))) {
                (isVideoConference(p) ? videoConferences : otherConferences).push_back(std::move(*value));
            }
            break;
        case ICAL_X_PROPERTY: {
            const char* name = icalproperty_get_x_name(p);
            if (name && (strcasecmp(name, "X-GOOGLE-CONFERENCE") == 0 ||
                         strcasecmp(name, "X-MICROSOFT-SKYPETEAMSMEETINGURL") == 0)) {
                if (auto value = textOf(icalproperty_get_x(p))) {
                    vendorConferences.push_back(std::move(*value));
                }
            } else if (name && std::strcmp(name, "X-ALT-DESC") == 0) {
                auto* fmt = icalproperty_get_first_parameter(p, ICAL_FMTTYPE_PARAMETER);
                const char* type = fmt ? icalparameter_get_fmttype(fmt) : nullptr;
                if (type && lowerAscii(type) == "text/html") {
                    t.htmlNotes = textOf(icalproperty_get_x(p));
                }
            }
            break;
        }
        default:
            break;
        }
    }
    for (auto* list : {&videoConferences, &vendorConferences, &otherConferences}) {
        t.conferences.insert(t.conferences.end(), std::make_move_iterator(list->begin()),
                             std::make_move_iterator(list->end()));
    }
    // The plain description is the notes; an HTML one stands in when there is no plain one.
    if (description) {
        t.notes = description;
    } else {
        t.notes = std::exchange(t.htmlNotes, std::nullopt);
    }
    if (series) {
        if (!hasSummary) {
            t.title = series->title;
        }
        if (!t.url) {
            t.url = series->url;
        }
        if (!t.location) {
            t.location = series->location;
        }
        if (t.conferences.empty()) {
            t.conferences = series->conferences;
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
    e.title = t.title;
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
    e.conferenceURLs = t.conferences;
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
                excludedDays.insert(
                    daysFromCivil(ex.year, static_cast<unsigned>(ex.month), static_cast<unsigned>(ex.day)));
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
                excludedDays.count(daysFromCivil(local.year, static_cast<unsigned>(local.month),
                                                 static_cast<unsigned>(local.day)))) {
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
            auto name = nameOf(line);
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
std::vector<CalendarEvent> occurrencesOf(const ScannedFile& file, const std::string& calendarID,
                                         std::int64_t start, std::int64_t end, const std::string& timeZoneID,
                                         const std::vector<std::string>& userEmails) {
    std::int64_t fromDay = start / 86400 - 2;
    std::int64_t toDay = end / 86400 + 2;
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    for (const auto& event : file.events) {
        if (mayOverlap(event, fromDay, toDay)) {
            ranges.emplace_back(event.begin, event.end);
        }
    }
    std::vector<CalendarEvent> out;
    if (ranges.empty()) {
        return out;
    }
    std::size_t candidates = ranges.size();
    ranges.insert(ranges.end(), file.timezones.begin(), file.timezones.end());
    auto bytes = rangesOf(file, ranges);
    if (!bytes) {
        // Changed since it was scanned (the watcher will have it scanned again): read it whole this once.
        return occurrencesOf(scanFile(*file.path, true), calendarID, start, end, timeZoneID, userEmails);
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
        ctx.userEmails.insert(lowerAscii(email));
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

// ---------------------------------------------------------------------------------------------------------
// Sources and calendars.

std::string expandHome(const std::string& source) {
    if (source == "~" || startsWith(source, "~/")) {
        return (Support::Files::homeFolder() / source.substr(std::min<std::size_t>(2, source.size())))
            .string();
    }
    return source;
}

bool isSubscription(const std::string& source) {
    auto lower = lowerAscii(source);
    return startsWith(lower, "https://") || startsWith(lower, "http://") || startsWith(lower, "webcal://") ||
           startsWith(lower, "webcals://");
}

std::string downloadURL(const std::string& source) {
    auto lower = lowerAscii(source);
    if (startsWith(lower, "webcals://")) {
        return "https://" + source.substr(10);
    }
    if (startsWith(lower, "webcal://")) {
        return "https://" + source.substr(9);
    }
    return source;
}

std::string hostOf(const std::string& url) {
    auto scheme = url.find("://");
    auto rest = scheme == std::string::npos ? url : url.substr(scheme + 3);
    auto end = rest.find_first_of("/?#");
    auto host = rest.substr(0, end);
    if (auto at = host.rfind('@'); at != std::string::npos) {
        host = host.substr(at + 1);
    }
    return lowerAscii(host);
}

std::string fnv1a(const std::string& s) {
    std::uint64_t h = 1469598103934665603ULL;
    for (unsigned char c : s) {
        h = (h ^ c) * 1099511628211ULL;
    }
    char buf[17];
    std::snprintf(buf, sizeof buf, "%016llx", static_cast<unsigned long long>(h));
    return buf;
}

std::optional<std::string> readSmallFile(const fs::path& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) {
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    while (!content.empty() && std::isspace(static_cast<unsigned char>(content.back()))) {
        content.pop_back();
    }
    return content;
}

/// "#RRGGBB" from "#rrggbb", "#rrggbbaa" or "rrggbb"; empty for anything else.
std::string normalisedColor(std::string value) {
    value.erase(0, value.find_first_not_of(" \t\r\n"));
    if (!value.empty() && value[0] == '#') {
        value.erase(0, 1);
    }
    if ((value.size() != 6 && value.size() != 8) || !std::all_of(value.begin(), value.end(), [](char c) {
            return std::isxdigit(static_cast<unsigned char>(c));
        })) {
        return "";
    }
    std::string out = "#";
    for (std::size_t i = 0; i < 6; ++i) {
        out.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(value[i]))));
    }
    return out;
}

struct CachedFile {
    FileIdentity identity;
    std::shared_ptr<const ScannedFile> scanned;
    std::string problem;
};

/// One calendar with its scanned files, shared read-only with fetches running on the thread pool.
struct CalendarState {
    CalendarDescriptor descriptor;
    std::vector<std::shared_ptr<const ScannedFile>> files;
};

struct SubscriptionMeta {
    std::string etag;
    std::string lastModified;
    double fetchedAt = 0;
    std::string problem;
};

struct HttpResult {
    long status = 0;
    std::string body;
    std::string etag;
    std::string lastModified;
    std::string error;
};

std::size_t appendBody(char* data, std::size_t size, std::size_t n, void* user) {
    auto* out = static_cast<std::string*>(user);
    constexpr std::size_t limit = 64u * 1024 * 1024;
    if (out->size() + size * n > limit) {
        return 0; // too large for a calendar: abort the transfer
    }
    out->append(data, size * n);
    return size * n;
}

std::size_t readHeader(char* data, std::size_t size, std::size_t n, void* user) {
    auto* result = static_cast<HttpResult*>(user);
    std::string_view line(data, size * n);
    auto colon = line.find(':');
    if (colon != std::string_view::npos) {
        auto name = lowerAscii(line.substr(0, colon));
        auto value = std::string(line.substr(colon + 1));
        value.erase(0, value.find_first_not_of(" \t"));
        while (!value.empty() && (value.back() == '\r' || value.back() == '\n' || value.back() == ' ')) {
            value.pop_back();
        }
        if (name == "etag") {
            result->etag = value;
        } else if (name == "last-modified") {
            result->lastModified = value;
        }
    }
    return size * n;
}

HttpResult httpGet(const std::string& url, const SubscriptionMeta& meta) {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    HttpResult result;
    CURL* curl = curl_easy_init();
    if (!curl) {
        result.error = "cannot start a download";
        return result;
    }
    curl_slist* headers = nullptr;
    if (!meta.etag.empty()) {
        headers = curl_slist_append(headers, ("If-None-Match: " + meta.etag).c_str());
    }
    if (!meta.lastModified.empty()) {
        headers = curl_slist_append(headers, ("If-Modified-Since: " + meta.lastModified).c_str());
    }
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 15L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(curl, CURLOPT_USERAGENT, "Vellmora calendar subscription");
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, readHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &result);
    auto code = curl_easy_perform(curl);
    if (code != CURLE_OK) {
        result.error = curl_easy_strerror(code);
    } else {
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.status);
    }
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return result;
}

} // namespace

// ---------------------------------------------------------------------------------------------------------

struct ICalendarStore::Impl : std::enable_shared_from_this<Impl> {
    Options options;
    Support::Signal<> changed;

    mutable std::mutex mutex;
    mutable bool dirty = true;
    mutable std::vector<std::shared_ptr<const CalendarState>> calendars;
    mutable std::map<fs::path, CachedFile> fileCache;
    mutable std::set<std::string> loggedProblems;

    int inotifyFd = -1;
    std::map<int, fs::path> watchedFolders;
    std::map<fs::path, std::set<std::string>> watchedFileNames; // folder → names of single-file sources
    Support::Subscription fdWatch;
    Support::Subscription refreshTimer;
    Support::Subscription debounce;
    bool refreshing = false;

    ~Impl() {
        if (inotifyFd >= 0) {
            ::close(inotifyFd);
        }
    }

    fs::path subscriptionFile(const std::string& url, const char* extension) const {
        return options.cacheFolder / "subscriptions" / (hostOf(url) + "-" + fnv1a(url) + extension);
    }

    SubscriptionMeta readMeta(const std::string& url) const {
        SubscriptionMeta meta;
        try {
            if (auto text = Support::Files::readIfExists(subscriptionFile(url, ".json"))) {
                auto json = nlohmann::json::parse(*text);
                meta.etag = json.value("etag", "");
                meta.lastModified = json.value("lastModified", "");
                meta.fetchedAt = json.value("fetchedAt", 0.0);
                meta.problem = json.value("problem", "");
            }
        } catch (const std::exception&) {
            // A damaged note about the last download only costs a full download.
        }
        return meta;
    }

    void writeMeta(const std::string& url, const SubscriptionMeta& meta) const {
        nlohmann::json json{{"url", url},
                            {"etag", meta.etag},
                            {"lastModified", meta.lastModified},
                            {"fetchedAt", meta.fetchedAt},
                            {"problem", meta.problem}};
        Support::Files::writeAtomically(subscriptionFile(url, ".json"), json.dump(2));
    }

    void logOnce(const std::string& calendarID, const std::string& problem) const {
        if (loggedProblems.insert(calendarID + "\n" + problem).second) {
            log.warning("Calendar {} cannot be read: {}", calendarID, problem);
        }
    }

    /// The scanned form of a file, re-read only when it changed. Sets `problem` when it cannot be read.
    std::shared_ptr<const ScannedFile> scannedFile(const fs::path& path, std::string& problem) const {
        struct stat st {};
        if (::stat(path.c_str(), &st) != 0) {
            problem = path.string() + ": " + std::strerror(errno);
            return nullptr;
        }
        auto identity = identityOf(st);
        auto it = fileCache.find(path);
        if (it != fileCache.end() && it->second.identity == identity) {
            problem = it->second.problem;
            return it->second.scanned;
        }
        CachedFile cached{identity, nullptr, ""};
        try {
            auto scanned = scanFile(path, false);
            cached.identity = scanned.identity; // as read, should it have changed since the stat
            cached.scanned = std::make_shared<const ScannedFile>(std::move(scanned));
        } catch (const std::exception& e) {
            cached.problem = path.filename().string() + ": " + e.what();
        }
        problem = cached.problem;
        fileCache[path] = cached;
        return cached.scanned;
    }

    std::shared_ptr<const CalendarState> folderCalendar(const fs::path& folder) const {
        auto state = std::make_shared<CalendarState>();
        auto& d = state->descriptor;
        d.id = folder.string();
        auto displayName = readSmallFile(folder / "displayname");
        auto color = readSmallFile(folder / "color");
        d.title = displayName && !displayName->empty() ? *displayName : folder.filename().string();
        d.colorHex = color ? normalisedColor(*color) : "";
        if (displayName || color) {
            d.sourceType = CalendarSourceType::calDAV;
            d.sourceID = folder.parent_path().string();
            d.sourceTitle = folder.parent_path().filename().string();
        } else {
            d.sourceType = CalendarSourceType::local;
            d.sourceID = "local";
            d.sourceTitle = "On this computer";
        }
        std::vector<fs::path> paths;
        std::error_code ec;
        for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
            if (it->path().extension() == ".ics" && it->is_regular_file(ec)) {
                paths.push_back(it->path());
            }
        }
        std::sort(paths.begin(), paths.end());
        for (const auto& path : paths) {
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
        return state;
    }

    std::shared_ptr<const CalendarState> fileCalendar(const fs::path& path, const std::string& id,
                                                      CalendarSourceType type, std::string sourceID,
                                                      std::string sourceTitle, std::string fallbackTitle,
                                                      std::string missingProblem) const {
        auto state = std::make_shared<CalendarState>();
        auto& d = state->descriptor;
        d.id = id;
        d.sourceType = type;
        d.sourceID = std::move(sourceID);
        d.sourceTitle = std::move(sourceTitle);
        d.title = std::move(fallbackTitle);
        std::error_code ec;
        if (!fs::exists(path, ec)) {
            d.isReadable = false;
            d.problem = std::move(missingProblem);
            return state;
        }
        std::string problem;
        auto scanned = scannedFile(path, problem);
        if (!scanned) {
            d.isReadable = false;
            d.problem = problem;
            return state;
        }
        if (!scanned->calendarName.empty()) {
            d.title = scanned->calendarName;
        }
        d.colorHex = normalisedColor(scanned->color);
        state->files.push_back(std::move(scanned));
        return state;
    }

    /// Re-lists the sources and re-scans changed files (when something changed since the last time).
    std::vector<std::shared_ptr<const CalendarState>> snapshot() const {
        std::lock_guard lock(mutex);
        if (!dirty) {
            return calendars;
        }
        std::vector<std::shared_ptr<const CalendarState>> fresh;
        for (const auto& raw : options.sources) {
            auto source = expandHome(raw);
            if (source.empty()) {
                continue;
            }
            if (isSubscription(source)) {
                auto meta = readMeta(source);
                auto missing = meta.problem.empty() ? std::string("not downloaded yet") : meta.problem;
                fresh.push_back(fileCalendar(subscriptionFile(source, ".ics"), source,
                                             CalendarSourceType::subscribed, "subscriptions", "Subscriptions",
                                             hostOf(source), missing));
                continue;
            }
            fs::path path = fs::absolute(source).lexically_normal();
            std::error_code ec;
            if (fs::is_directory(path, ec)) {
                bool hasItems = false;
                std::vector<fs::path> subfolders;
                for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
                    if (it->path().extension() == ".ics") {
                        hasItems = true;
                    } else if (it->is_directory(ec) && it->path().filename().string().front() != '.') {
                        subfolders.push_back(it->path());
                    }
                }
                if (hasItems || subfolders.empty()) {
                    fresh.push_back(folderCalendar(path));
                } else {
                    std::sort(subfolders.begin(), subfolders.end());
                    for (const auto& sub : subfolders) {
                        fresh.push_back(folderCalendar(sub));
                    }
                }
            } else {
                fresh.push_back(fileCalendar(path, path.string(), CalendarSourceType::local, "local",
                                             "On this computer", path.stem().string(),
                                             path.string() + ": no such file or folder"));
            }
        }
        for (const auto& c : fresh) {
            if (!c->descriptor.isReadable) {
                logOnce(c->descriptor.id, c->descriptor.problem);
            }
        }
        calendars = std::move(fresh);
        dirty = false;
        return calendars;
    }

    void markChanged() {
        {
            std::lock_guard lock(mutex);
            dirty = true;
        }
        changed.emit();
    }

    void fileEvent() {
        {
            std::lock_guard lock(mutex);
            dirty = true;
        }
        if (!options.scheduler) {
            changed.emit();
            return;
        }
        // A sync run writes many files: tell observers once, when it has settled.
        std::weak_ptr<Impl> weak = shared_from_this();
        debounce = options.scheduler->after(Support::seconds(0.5), [weak] {
            if (auto self = weak.lock()) {
                self->changed.emit();
            }
        });
    }

    void addWatch(const fs::path& folder) {
        std::error_code ec;
        if (inotifyFd < 0 || !fs::is_directory(folder, ec)) {
            return;
        }
        int wd = inotify_add_watch(inotifyFd, folder.c_str(),
                                   IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE |
                                       IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB);
        if (wd >= 0) {
            watchedFolders[wd] = folder;
        }
    }

    void startWatching() {
        if (!Support::MainLoop::hasCurrent()) {
            return;
        }
        inotifyFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (inotifyFd < 0) {
            log.warning("Cannot watch calendar files for changes: {}", std::strerror(errno));
            return;
        }
        for (const auto& raw : options.sources) {
            auto source = expandHome(raw);
            if (source.empty() || isSubscription(source)) {
                continue;
            }
            fs::path path = fs::absolute(source).lexically_normal();
            std::error_code ec;
            if (fs::is_directory(path, ec)) {
                addWatch(path);
                for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
                    if (it->is_directory(ec)) {
                        addWatch(it->path());
                    }
                }
            } else {
                watchedFileNames[path.parent_path()].insert(path.filename().string());
                addWatch(path.parent_path());
            }
        }
        std::weak_ptr<Impl> weak = shared_from_this();
        fdWatch = Support::MainLoop::current().watchReadable(inotifyFd, [weak] {
            if (auto self = weak.lock()) {
                self->readInotify();
            }
        });
    }

    void readInotify() {
        alignas(inotify_event) char buffer[16384];
        bool relevant = false;
        for (;;) {
            auto n = ::read(inotifyFd, buffer, sizeof buffer);
            if (n <= 0) {
                break;
            }
            for (char* p = buffer; p < buffer + n;) {
                auto* event = reinterpret_cast<inotify_event*>(p);
                p += sizeof(inotify_event) + event->len;
                auto folder = watchedFolders.find(event->wd);
                if (folder == watchedFolders.end()) {
                    continue;
                }
                std::string name = event->len > 0 ? std::string(event->name) : std::string();
                auto singles = watchedFileNames.find(folder->second);
                if (singles != watchedFileNames.end() && !name.empty() && !singles->second.count(name)) {
                    continue; // another file beside a single-file calendar
                }
                if (!name.empty() && name.front() == '.') {
                    continue; // temporary files of editors and sync tools
                }
                if ((event->mask & IN_ISDIR) && (event->mask & (IN_CREATE | IN_MOVED_TO))) {
                    addWatch(folder->second / name);
                }
                relevant = true;
            }
        }
        if (relevant) {
            fileEvent();
        }
    }

    std::vector<std::string> subscriptionURLs() const {
        std::vector<std::string> out;
        for (const auto& raw : options.sources) {
            if (isSubscription(raw)) {
                out.push_back(raw);
            }
        }
        return out;
    }

    static Support::Task<void> refresh(std::shared_ptr<Impl> impl, bool onlyStale);

    /// Downloads one subscription (on the thread pool); true when its cached copy changed.
    bool download(const std::string& source) const {
        auto meta = readMeta(source);
        auto cacheFile = subscriptionFile(source, ".ics");
        std::error_code ec;
        bool haveCopy = fs::exists(cacheFile, ec);
        if (!haveCopy) {
            meta.etag.clear();
            meta.lastModified.clear();
        }
        auto result = httpGet(downloadURL(source), meta);
        auto now = Support::unixSeconds(Support::systemNow());
        std::string problem;
        bool changedCopy = false;
        if (!result.error.empty()) {
            problem = "download failed: " + result.error;
        } else if (result.status == 304) {
            meta.fetchedAt = now;
        } else if (result.status < 200 || result.status >= 300) {
            problem = "download failed: HTTP status " + std::to_string(result.status);
        } else {
            try {
                scan(result.body); // never replace a good copy with something that is not a calendar
                auto old = Support::Files::readIfExists(cacheFile);
                if (!old || *old != result.body) {
                    Support::Files::writeAtomically(cacheFile, result.body);
                    changedCopy = true;
                }
                meta.etag = result.etag;
                meta.lastModified = result.lastModified;
                meta.fetchedAt = now;
            } catch (const std::system_error& e) {
                problem = std::string("cannot keep the download: ") + e.what();
            } catch (const std::exception& e) {
                problem = std::string("the download is not a calendar (") + e.what() + ")";
            }
        }
        bool problemChanged = meta.problem != problem;
        meta.problem = problem;
        if (!problem.empty()) {
            log.warning("Subscription {}: {}", source, problem);
        }
        try {
            writeMeta(source, meta);
        } catch (const std::exception& e) {
            log.warning("Cannot note the download of {}: {}", source, e.what());
        }
        return changedCopy || (problemChanged && !haveCopy);
    }
};

Support::Task<void> ICalendarStore::Impl::refresh(std::shared_ptr<Impl> impl, bool onlyStale) {
    if (impl->refreshing) {
        co_return;
    }
    impl->refreshing = true;
    bool anyChanged = false;
    auto now = Support::unixSeconds(Support::systemNow());
    for (const auto& url : impl->subscriptionURLs()) {
        if (onlyStale) {
            auto meta = impl->readMeta(url);
            std::error_code ec;
            if (fs::exists(impl->subscriptionFile(url, ".ics"), ec) &&
                now - meta.fetchedAt < subscriptionRefreshSeconds) {
                continue;
            }
        }
        auto download = [impl, url] { return impl->download(url); };
        try {
            anyChanged = co_await Support::BlockingWork::run(std::move(download)) || anyChanged;
        } catch (const Support::Cancelled&) {
            impl->refreshing = false;
            throw;
        } catch (const std::exception& e) {
            log.warning("Subscription {}: {}", url, e.what());
        }
    }
    impl->refreshing = false;
    if (anyChanged) {
        impl->markChanged();
    }
}

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
    if (impl_->options.watchForChanges) {
        impl_->startWatching();
    }
    if (auto* scheduler = impl_->options.scheduler; scheduler && !impl_->subscriptionURLs().empty()) {
        std::weak_ptr<Impl> weak = impl_;
        auto refresh = [weak](bool onlyStale) {
            if (auto impl = weak.lock()) {
                static_cast<void>(Impl::refresh(impl, onlyStale));
            }
        };
        impl_->refreshTimer =
            scheduler->every(Support::seconds(subscriptionRefreshSeconds), [refresh] { refresh(false); });
        refresh(true);
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
    for (const auto& c : impl_->snapshot()) {
        out.push_back(c->descriptor);
    }
    return out;
}

Support::Task<std::vector<CalendarEvent>> ICalendarStore::events(Support::Date start, Support::Date end,
                                                                 std::vector<std::string> calendarIDs) {
    auto snapshot = impl_->snapshot();
    std::set<std::string> wanted(calendarIDs.begin(), calendarIDs.end());
    std::vector<std::shared_ptr<const CalendarState>> chosen;
    for (auto& c : snapshot) {
        if (c->descriptor.isReadable && (wanted.empty() || wanted.count(c->descriptor.id))) {
            chosen.push_back(std::move(c));
        }
    }
    auto zone = impl_->options.timeZoneID;
    auto emails = impl_->options.userEmails;
    auto from = unixFloor(start);
    auto to = unixCeil(end);
    // The job is a named local: g++ 12 mishandles lambda temporaries inside a co_await expression (their
    // copies end up pointing into the frame).
    auto job = [chosen, zone, emails, from, to] {
        std::vector<CalendarEvent> out;
        for (const auto& calendar : chosen) {
            for (const auto& file : calendar->files) {
                try {
                    auto events = occurrencesOf(*file, calendar->descriptor.id, from, to, zone, emails);
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
    return Impl::refresh(impl_, onlyStale);
}

std::vector<CalendarEvent> ICalendarStore::occurrencesInText(std::string_view text,
                                                             const std::string& calendarID,
                                                             Support::Date start, Support::Date end,
                                                             const std::string& timeZoneID,
                                                             const std::vector<std::string>& userEmails) {
    auto scanned = scan(text);
    scanned.text = std::string(text);
    return occurrencesOf(scanned, calendarID, unixFloor(start), unixCeil(end), timeZoneID, userEmails);
}

} // namespace Platform

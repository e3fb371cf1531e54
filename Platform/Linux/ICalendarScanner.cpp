#include "Platform/Linux/ICalendarScanner.h"

#include "Support/FileDescriptor.h"
#include "Support/Text.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Platform {

namespace {

using EventBlock = ICalendarEventBlock;
using ScannedFile = ICalendarScannedFile;
using FileIdentity = ICalendarFileIdentity;
constexpr std::int64_t unknownDay = ICalendarEventBlock::unknownDay;

/// Days since 1970-01-01 of a civil date.
std::int64_t civilDays(std::int64_t y, unsigned m, unsigned d) {
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
    return civilDays(num(0, 4), static_cast<unsigned>(m), static_cast<unsigned>(d));
}

/// Whole days (rounded up) of a DURATION value such as "PT30M", "P1DT2H" or "P2W", or unknownDay when it
/// does not read as one. A negative duration counts as none.
std::int64_t durationDays(std::string_view value) {
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
std::string propertyName(std::string_view line) {
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
        auto name = propertyName(line);
        if (name == "BEGIN" || name == "END") {
            auto component = propertyName(valueOf(line));
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
                current.durationDays = durationDays(valueOf(line));
            } else if (name == "RRULE") {
                current.hasRule = true;
                auto value = valueOf(line);
                auto until = Support::Text::asciiLowercased(value).find("until=");
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

ScannedFile scanText(std::string_view text) {
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

struct OpenFile {
    Support::FileDescriptor fd;
    explicit OpenFile(const fs::path& path) : fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (!fd) {
            throw std::runtime_error(std::string("cannot read the file: ") + std::strerror(errno));
        }
    }
    struct stat status() const {
        struct stat st {};
        if (::fstat(fd.get(), &st) != 0) {
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
ScannedFile scanPath(const fs::path& path, bool keepText) {
    OpenFile file(path);
    auto st = file.status();
    ScannedFile scanned;
    if (keepText) {
        auto text = readAll(file.fd.get(), static_cast<std::size_t>(std::max<off_t>(0, st.st_size)));
        scanned = scanText(text);
        scanned.text = std::move(text);
    } else {
        scanned = scanInPieces(file.fd.get());
    }
    scanned.path = path;
    scanned.identity = FileIdentity::of(st);
    return scanned;
}

} // namespace

ICalendarFileIdentity ICalendarFileIdentity::of(const struct stat& st) {
    return {st.st_dev, st.st_ino, st.st_size,
            static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec};
}

ICalendarScannedFile ICalendarScanner::scan(std::string_view text) {
    return scanText(text);
}

ICalendarScannedFile ICalendarScanner::scanFile(const fs::path& path, bool keepText) {
    return scanPath(path, keepText);
}

std::string ICalendarScanner::nameOf(std::string_view line) {
    return propertyName(line);
}

std::int64_t ICalendarScanner::daysFromCivil(std::int64_t year, unsigned month, unsigned day) {
    return civilDays(year, month, day);
}

std::int64_t ICalendarScanner::durationDaysOf(std::string_view value) {
    return durationDays(value);
}

/// The bytes of the given ranges of a scanned file: from its text, or read again from its file. Nothing
/// when the file is no longer the one scanned.
std::optional<std::vector<std::string>>
ICalendarScanner::blocks(const ScannedFile& file,
                         const std::vector<std::pair<std::size_t, std::size_t>>& ranges) {
    std::vector<std::string> out;
    out.reserve(ranges.size());
    if (!file.path || !file.text.empty()) {
        for (auto [b, e] : ranges) {
            out.emplace_back(file.text, b, e - b);
        }
        return out;
    }
    OpenFile fd(*file.path);
    if (FileIdentity::of(fd.status()) != file.identity) {
        return std::nullopt;
    }
    for (auto [b, e] : ranges) {
        std::string bytes(e - b, '\0');
        std::size_t filled = 0;
        while (filled < bytes.size()) {
            auto n = ::pread(fd.fd.get(), bytes.data() + filled, bytes.size() - filled,
                             static_cast<off_t>(b + filled));
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
bool ICalendarEventBlock::mayOverlap(std::int64_t fromDay, std::int64_t toDay) const {
    const auto& e = *this;
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

} // namespace Platform

// The first look at a calendar file, without libical: its structure is checked (BEGIN/END nesting, a
// VCALENDAR at the top) and each event and time-zone block is indexed by byte range with the days that
// place it (DTSTART, DTEND, DURATION, RRULE's UNTIL, RECURRENCE-ID). The iCalendar store keeps these
// indexes in its cache and hands only the blocks near an asked range to the (much slower) expansion.
//
// A file on disk is scanned a megabyte at a time and not kept in memory; its blocks are read again by byte
// range later, as long as it is still the file that was scanned (same device, inode, size and change time).
// Edge cases: a byte-order mark, bare LF line ends, folded lines, components nested too deeply (a clear
// error), values whose day cannot be read (`unknownDay`: the block is always a candidate).
#pragma once

#include <sys/stat.h>

#include <climits>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Platform {

/// What tells whether a file still holds the content that was scanned.
struct ICalendarFileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0; // nanoseconds
    bool operator==(const ICalendarFileIdentity&) const = default;

    static ICalendarFileIdentity of(const struct stat& st);
};

/// One VEVENT block: its byte range and the days (since 1970-01-01) that place it.
struct ICalendarEventBlock {
    static constexpr std::int64_t unknownDay = INT64_MIN;

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

    /// Whether the block can have an occurrence within [fromDay, toDay] (days, with a margin for zones).
    bool mayOverlap(std::int64_t fromDay, std::int64_t toDay) const;
};

struct ICalendarScannedFile {
    /// The whole text of a calendar given as text. A file on disk is not kept in memory (a large calendar
    /// would stay resident for the life of the program): its text is dropped after the scan and the blocks
    /// near an asked range are read again from `path`, as long as it is still the file scanned.
    std::string text;
    std::optional<std::filesystem::path> path;
    ICalendarFileIdentity identity;
    std::vector<std::pair<std::size_t, std::size_t>> timezones;
    std::vector<ICalendarEventBlock> events;
    std::string calendarName;
    std::string color;
};

struct ICalendarScanner {
    /// Throws std::runtime_error (the problem, for the user) when the text is not iCalendar.
    static ICalendarScannedFile scan(std::string_view text);
    /// Scans a calendar file; `keepText` keeps its whole text in memory instead of reading blocks again
    /// later. Throws std::runtime_error when it cannot be read or is not iCalendar.
    static ICalendarScannedFile scanFile(const std::filesystem::path& path, bool keepText);
    /// The bytes of the given ranges of a scanned file: from its text, or read again from its file. Nothing
    /// when the file is no longer the one scanned.
    static std::optional<std::vector<std::string>>
    blocks(const ICalendarScannedFile& file, const std::vector<std::pair<std::size_t, std::size_t>>& ranges);

    /// The property name of a content line ("DTSTART" of "DTSTART;TZID=...:..."), upper-cased.
    static std::string nameOf(std::string_view line);
    /// Days since 1970-01-01 of a civil date.
    static std::int64_t daysFromCivil(std::int64_t year, unsigned month, unsigned day);
    /// Whole days (rounded up) of a DURATION value such as "PT30M", "P1DT2H" or "P2W", or `unknownDay` when
    /// it does not read as one. A negative duration counts as none.
    static std::int64_t durationDaysOf(std::string_view value);
};

} // namespace Platform

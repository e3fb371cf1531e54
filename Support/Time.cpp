#include "Support/Time.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace Support {

Date systemNow() {
    return std::chrono::time_point_cast<Duration>(Clock::now());
}

std::string formatISO8601(Date date) {
    using namespace std::chrono;
    // From the civil calendar, not gmtime and strftime: the system clock's nanoseconds cannot hold dates
    // past 2262, and "%Y" would not give the four digits of a year before 1000. Dates no conversion makes
    // (a stored count of microseconds can be anything) are shown at the ends of the range.
    date = std::clamp(date, dateFromUnix(-maximumSeconds), dateFromUnix(maximumSeconds));
    const auto secs = floor<std::chrono::seconds>(date);
    const auto micros = (date - secs).count();
    const auto day = floor<days>(secs);
    const year_month_day ymd{sys_days(day)};
    const hh_mm_ss time{secs - day};
    char buf[64];
    int n = std::snprintf(buf, sizeof buf, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(ymd.year()),
                          static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                          static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                          static_cast<int>(time.seconds().count()));
    std::string out(buf, static_cast<size_t>(n));
    if (micros != 0) {
        char frac[32];
        if (micros % 1000 == 0) {
            std::snprintf(frac, sizeof frac, ".%03lld", static_cast<long long>(micros / 1000));
        } else {
            std::snprintf(frac, sizeof frac, ".%06lld", static_cast<long long>(micros));
        }
        out += frac;
    }
    out += 'Z';
    return out;
}

namespace {
bool readDigits(std::string_view s, size_t& pos, size_t count, int& out) {
    if (pos + count > s.size()) {
        return false;
    }
    int v = 0;
    for (size_t i = 0; i < count; ++i) {
        char c = s[pos + i];
        if (c < '0' || c > '9') {
            return false;
        }
        v = v * 10 + (c - '0');
    }
    pos += count;
    out = v;
    return true;
}
bool expect(std::string_view s, size_t& pos, char c) {
    if (pos < s.size() && s[pos] == c) {
        ++pos;
        return true;
    }
    return false;
}
} // namespace

std::optional<Date> parseISO8601(std::string_view s) {
    using namespace std::chrono;
    size_t pos = 0;
    int y, mo, d, h, mi, sec = 0;
    if (!readDigits(s, pos, 4, y) || !expect(s, pos, '-') || !readDigits(s, pos, 2, mo) ||
        !expect(s, pos, '-') || !readDigits(s, pos, 2, d)) {
        return std::nullopt;
    }
    if (pos >= s.size() || (s[pos] != 'T' && s[pos] != 't' && s[pos] != ' ')) {
        return std::nullopt;
    }
    ++pos;
    if (!readDigits(s, pos, 2, h) || !expect(s, pos, ':') || !readDigits(s, pos, 2, mi)) {
        return std::nullopt;
    }
    long long micros = 0;
    if (expect(s, pos, ':')) {
        if (!readDigits(s, pos, 2, sec)) {
            return std::nullopt;
        }
        if (expect(s, pos, '.') || expect(s, pos, ',')) {
            size_t start = pos;
            long long scale = 100000;
            while (pos < s.size() && std::isdigit(static_cast<unsigned char>(s[pos]))) {
                micros += (s[pos] - '0') * scale;
                scale /= 10;
                ++pos;
            }
            if (pos == start) {
                return std::nullopt;
            }
        }
    }
    int offsetMinutes = 0;
    if (expect(s, pos, 'Z') || expect(s, pos, 'z')) {
    } else if (pos < s.size() && (s[pos] == '+' || s[pos] == '-')) {
        int sign = s[pos] == '-' ? -1 : 1;
        ++pos;
        int oh, om = 0;
        if (!readDigits(s, pos, 2, oh)) {
            return std::nullopt;
        }
        if (expect(s, pos, ':')) {
            if (!readDigits(s, pos, 2, om)) {
                return std::nullopt;
            }
        } else if (pos < s.size()) {
            if (!readDigits(s, pos, 2, om)) {
                return std::nullopt;
            }
        }
        if (oh > 23 || om > 59) {
            return std::nullopt;
        }
        offsetMinutes = sign * (oh * 60 + om);
    } else {
        return std::nullopt;
    }
    if (pos != s.size()) {
        return std::nullopt;
    }
    if (mo < 1 || mo > 12 || d < 1 || h > 23 || mi > 59 || sec > 60) {
        return std::nullopt;
    }
    year_month_day ymd{year(y), month(static_cast<unsigned>(mo)), day(static_cast<unsigned>(d))};
    if (!ymd.ok()) {
        return std::nullopt;
    }
    auto date = Date(sys_days(ymd).time_since_epoch()) + hours(h) + minutes(mi) + std::chrono::seconds(sec) +
                microseconds(micros) - minutes(offsetMinutes);
    return date;
}

} // namespace Support

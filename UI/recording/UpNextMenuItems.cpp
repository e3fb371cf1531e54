#include "UI/recording/UpNextMenuItems.h"

#include "Support/Text.h"

#include <unicode/calendar.h>
#include <unicode/dtptngen.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <memory>

namespace UI::UpNextMenuItems {

namespace {

UDate toUDate(Support::Date date) {
    return static_cast<UDate>(date.time_since_epoch().count()) / 1000.0;
}

std::unique_ptr<icu::TimeZone> zone(const std::string& id) {
    return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(id)));
}

/// Year, month and day of `date` in the time zone.
std::tuple<int, int, int> dayOf(Support::Date date, const icu::TimeZone& tz) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> cal(icu::Calendar::createInstance(tz, icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) {
        return {0, 0, 0};
    }
    cal->setTime(toUDate(date), status);
    return {cal->get(UCAL_ERA, status) * 100000 + cal->get(UCAL_EXTENDED_YEAR, status),
            cal->get(UCAL_MONTH, status), cal->get(UCAL_DATE, status)};
}

std::string serviceName(MeetingService service) {
    switch (service) {
    case MeetingService::zoom:
        return "Zoom";
    case MeetingService::teams:
        return "Teams";
    case MeetingService::meet:
        break;
    }
    return "Google Meet";
}

std::string startTime(Support::Date start, const std::string& timeZoneID, const std::string& localeID) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale locale(localeID.c_str());
    std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    if (U_FAILURE(status)) {
        return {};
    }
    icu::UnicodeString pattern = generator->getBestPattern(icu::UnicodeString("jmm"), status);
    icu::SimpleDateFormat format(pattern, locale, status);
    if (U_FAILURE(status)) {
        return {};
    }
    format.adoptTimeZone(zone(timeZoneID).release());
    icu::UnicodeString text;
    format.format(toUDate(start), text);
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::string shortTitle(const std::string& title) {
    auto trimmed = Support::Text::trimmed(title);
    if (trimmed.empty()) {
        return "Untitled meeting";
    }
    if (Support::Text::graphemeCount(trimmed) > maxTitleLength) {
        return Support::Text::trimmed(Support::Text::graphemePrefix(trimmed, maxTitleLength - 1)) + "…";
    }
    return trimmed;
}

} // namespace

std::string label(const CalendarMeeting& meeting, Support::Date now, const std::string& timeZoneID,
                  const std::string& localeID) {
    const bool inProgress = meeting.start <= now && now < meeting.end;
    const std::string prefix =
        inProgress ? std::string("Now") : startTime(meeting.start, timeZoneID, localeID);
    return prefix + " " + shortTitle(meeting.title) + " · " + serviceName(meeting.link.service);
}

std::vector<UpNextMenuItem> items(const std::vector<CalendarMeeting>& meetings, Support::Date now,
                                  const std::string& timeZoneID, const std::string& localeID) {
    auto tz = zone(timeZoneID);
    const auto today = dayOf(now, *tz);
    std::vector<const CalendarMeeting*> kept;
    for (const auto& m : meetings) {
        if (m.end > now && (m.start < now || dayOf(m.start, *tz) == today)) {
            kept.push_back(&m);
        }
    }
    std::stable_sort(kept.begin(), kept.end(), [](auto* a, auto* b) { return a->start < b->start; });
    if (kept.size() > maxItems) {
        kept.resize(maxItems);
    }
    std::vector<UpNextMenuItem> result;
    for (const auto* m : kept) {
        result.push_back({*m, label(*m, now, timeZoneID, localeID)});
    }
    return result;
}

} // namespace UI::UpNextMenuItems

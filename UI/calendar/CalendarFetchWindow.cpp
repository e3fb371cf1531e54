#include "UI/calendar/CalendarFetchWindow.h"

#include <unicode/calendar.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cmath>
#include <memory>

namespace UI {

namespace {

/// Midnight at the start of the day after tomorrow, in `zoneID`; nothing when ICU cannot compute it.
std::optional<Support::Date> endOfTomorrow(Support::Date now, std::string_view zoneID) {
    icu::UnicodeString id =
        icu::UnicodeString::fromUTF8(icu::StringPiece(zoneID.data(), static_cast<int32_t>(zoneID.size())));
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(id));
    if (!zone || *zone == icu::TimeZone::getUnknown()) {
        return std::nullopt;
    }
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(zone.release(), status));
    if (U_FAILURE(status) || !calendar) {
        return std::nullopt;
    }
    calendar->setTime(std::floor(Support::unixSeconds(now) * 1000.0), status);
    calendar->set(UCAL_HOUR_OF_DAY, 0);
    calendar->set(UCAL_MINUTE, 0);
    calendar->set(UCAL_SECOND, 0);
    calendar->set(UCAL_MILLISECOND, 0);
    calendar->add(UCAL_DATE, 2, status);
    UDate millis = calendar->getTime(status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    return Support::dateFromUnix(millis / 1000.0);
}

} // namespace

DateInterval CalendarFetchWindow::interval(Support::Date now, std::string_view timeZoneID) {
    Support::Date start = now - Support::seconds(lookBack);
    Support::Date end = endOfTomorrow(now, timeZoneID).value_or(now + Support::seconds(172800));
    return DateInterval{start, std::max(start, end)};
}

} // namespace UI

#include "UI/library/DateContext.h"

#include <unicode/calendar.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <memory>
#include <stdexcept>

namespace UI {

namespace {

icu::Locale localeOf(const DateContext& context) {
    return context.locale.empty() ? icu::Locale::getDefault() : icu::Locale(context.locale.c_str());
}

icu::TimeZone* zoneOf(const DateContext& context) {
    return context.timeZone.empty()
               ? icu::TimeZone::createDefault()
               : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(context.timeZone));
}

UDate toUDate(Support::Date date) {
    return static_cast<UDate>(date.time_since_epoch().count()) / 1000.0;
}

Support::Date fromUDate(UDate value) {
    return Support::Date(Support::Duration(static_cast<Support::Duration::rep>(value * 1000.0)));
}

std::unique_ptr<icu::Calendar> calendarAt(const DateContext& context, Support::Date date) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> cal(
        icu::Calendar::createInstance(zoneOf(context), localeOf(context), status));
    if (U_FAILURE(status) || !cal) {
        throw std::runtime_error("ICU calendar unavailable");
    }
    cal->setTime(toUDate(date), status);
    return cal;
}

void clearTimeOfDay(icu::Calendar& cal) {
    cal.set(UCAL_HOUR_OF_DAY, 0);
    cal.set(UCAL_MINUTE, 0);
    cal.set(UCAL_SECOND, 0);
    cal.set(UCAL_MILLISECOND, 0);
}

Support::Date timeOf(icu::Calendar& cal) {
    UErrorCode status = U_ZERO_ERROR;
    return fromUDate(cal.getTime(status));
}

} // namespace

Support::Date DateContext::startOfDay(Support::Date date) const {
    auto cal = calendarAt(*this, date);
    clearTimeOfDay(*cal);
    return timeOf(*cal);
}

Support::Date DateContext::startOfWeek(Support::Date date) const {
    auto cal = calendarAt(*this, date);
    UErrorCode status = U_ZERO_ERROR;
    const int weekday = cal->get(UCAL_DAY_OF_WEEK, status);
    const int first = cal->getFirstDayOfWeek(status);
    clearTimeOfDay(*cal);
    cal->add(UCAL_DATE, -((weekday - first + 7) % 7), status);
    return timeOf(*cal);
}

Support::Date DateContext::addingDays(Support::Date date, int days) const {
    auto cal = calendarAt(*this, date);
    UErrorCode status = U_ZERO_ERROR;
    cal->add(UCAL_DATE, days, status);
    return timeOf(*cal);
}

int DateContext::wholeDaysBetween(Support::Date from, Support::Date to) const {
    auto cal = calendarAt(*this, startOfDay(from));
    UErrorCode status = U_ZERO_ERROR;
    const int days = cal->fieldDifference(toUDate(startOfDay(to)), UCAL_DATE, status);
    return U_FAILURE(status) ? 0 : days;
}

int DateContext::year(Support::Date date) const {
    auto cal = calendarAt(*this, date);
    UErrorCode status = U_ZERO_ERROR;
    return cal->get(UCAL_EXTENDED_YEAR, status);
}

std::string DateContext::format(Support::Date date, const std::string& pattern) const {
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat formatter(icu::UnicodeString::fromUTF8(pattern), localeOf(*this), status);
    if (U_FAILURE(status)) {
        return "";
    }
    formatter.adoptTimeZone(zoneOf(*this));
    icu::UnicodeString text;
    formatter.format(toUDate(date), text);
    std::string out;
    text.toUTF8String(out);
    return out;
}

} // namespace UI

#include "UI/calendar/MeetingOverlayPresentation.h"

#include "UI/calendar/MeetingService.h"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cmath>
#include <memory>

namespace UI {

namespace {

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

} // namespace

std::string MeetingOverlayPresentation::clockTime(Support::Date date, std::string_view timeZoneID,
                                                  std::string_view locale) {
    icu::Locale loc(std::string(locale).c_str());
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(loc, status));
    icu::UnicodeString pattern =
        U_SUCCESS(status) ? generator->getBestPattern(unicode("jmm"), status) : icu::UnicodeString();
    if (U_FAILURE(status) || pattern.isEmpty()) {
        status = U_ZERO_ERROR;
        pattern = unicode("HH:mm");
    }
    icu::SimpleDateFormat format(pattern, loc, status);
    if (U_FAILURE(status)) {
        return Support::formatISO8601(date).substr(11, 5);
    }
    format.adoptTimeZone(icu::TimeZone::createTimeZone(unicode(timeZoneID)));
    icu::UnicodeString text;
    format.format(std::floor(Support::unixSeconds(date)) * 1000.0, text);
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::string MeetingOverlayPresentation::timeText(Support::Date start, Support::Date now) {
    double d = Support::toSeconds(start - now);
    if (std::fabs(d) <= 30) {
        return "Starting now";
    }
    long n = std::lround(std::fabs(d) / 60.0);
    std::string amount = n < 2 ? std::string("1 minute") : std::to_string(n) + " minutes";
    return d > 0 ? "Starts in " + amount : "Started " + amount + " ago";
}

MeetingOverlayPresentation::MeetingOverlayPresentation(const CalendarMeeting& main,
                                                       const std::vector<CalendarMeeting>& extras,
                                                       Support::Date now,
                                                       std::optional<Support::Date> snoozeUntil,
                                                       std::string_view timeZoneID, std::string_view locale)
    : occurrenceKey(main.occurrenceKey), title(main.displayTitle()),
      serviceName(displayName(main.link.service)), relativeTime(timeText(main.start, now)),
      timeRangeText(clockTime(main.start, timeZoneID, locale) + " – " +
                    clockTime(main.end, timeZoneID, locale)),
      buttons(allButtons.begin(), allButtons.end()) {
    for (const auto& extra : extras) {
        extraRows.push_back(ExtraRow{extra.occurrenceKey, extra.displayTitle(),
                                     std::string(displayName(extra.link.service)) + " · " +
                                         clockTime(extra.start, timeZoneID, locale)});
    }
    if (snoozeUntil) {
        snoozeLine = "Remind me again at " + clockTime(*snoozeUntil, timeZoneID, locale);
    }
    summary = serviceName + " meeting. " + relativeTime + ".";
    if (extras.size() == 1) {
        summary += " One more meeting at the same time.";
    } else if (extras.size() > 1) {
        summary += " " + std::to_string(extras.size()) + " more meetings at the same time.";
    }
}

std::string_view rawValue(MeetingOverlayPresentation::Button button) {
    switch (button) {
    case MeetingOverlayPresentation::Button::joinAndRecord:
        return "joinAndRecord";
    case MeetingOverlayPresentation::Button::joinOnly:
        return "joinOnly";
    case MeetingOverlayPresentation::Button::snooze:
        return "snooze";
    case MeetingOverlayPresentation::Button::dismiss:
        return "dismiss";
    }
    return "dismiss";
}

std::string_view title(MeetingOverlayPresentation::Button button) {
    switch (button) {
    case MeetingOverlayPresentation::Button::joinAndRecord:
        return "Join & Record";
    case MeetingOverlayPresentation::Button::joinOnly:
        return "Join only";
    case MeetingOverlayPresentation::Button::snooze:
        return "Snooze";
    case MeetingOverlayPresentation::Button::dismiss:
        return "Dismiss";
    }
    return "Dismiss";
}

} // namespace UI

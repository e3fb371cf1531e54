#include "Platform/Linux/ICalendarTimeZoneNames.h"

#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <vector>

namespace Platform {

std::optional<std::string> ICalendarTimeZoneNames::windowsZone(std::string_view windowsName) {
    if (windowsName.empty()) {
        return std::nullopt;
    }
    icu::UnicodeString id;
    UErrorCode status = U_ZERO_ERROR;
    icu::TimeZone::getIDForWindowsID(icu::UnicodeString::fromUTF8(icu::StringPiece(
                                         windowsName.data(), static_cast<int32_t>(windowsName.size()))),
                                     nullptr, id, status);
    if (U_FAILURE(status) || id.isEmpty()) {
        return std::nullopt;
    }
    std::string out;
    id.toUTF8String(out);
    return out;
}

std::optional<std::string>
ICalendarTimeZoneNames::ianaID(std::string_view tzid,
                               const std::function<bool(const std::string&)>& isKnown) {
    std::string written(tzid);
    if (written.empty()) {
        return std::nullopt;
    }
    if (isKnown(written)) {
        return written;
    }
    if (auto windows = windowsZone(written); windows && isKnown(*windows)) {
        return windows;
    }
    std::vector<std::string_view> parts;
    for (std::size_t pos = 0; pos <= tzid.size();) {
        auto slash = tzid.find('/', pos);
        auto end = slash == std::string_view::npos ? tzid.size() : slash;
        if (end > pos) {
            parts.push_back(tzid.substr(pos, end - pos));
        }
        pos = end + 1;
    }
    for (std::size_t first = 0; first < parts.size(); ++first) {
        std::string tail;
        for (auto i = first; i < parts.size(); ++i) {
            tail.append(i == first ? "" : "/").append(parts[i]);
        }
        if (tail != written && isKnown(tail)) {
            return tail;
        }
    }
    return std::nullopt;
}

icaltimezone* ICalendarTimeZoneNames::databaseZone(const char* tzid) {
    if (!tzid || !*tzid) {
        return nullptr;
    }
    if (auto* zone = icaltimezone_get_builtin_timezone_from_tzid(tzid)) {
        return zone;
    }
    auto known = [](const std::string& id) {
        return icaltimezone_get_builtin_timezone(id.c_str()) != nullptr;
    };
    auto id = ianaID(tzid, known);
    return id ? icaltimezone_get_builtin_timezone(id->c_str()) : nullptr;
}

} // namespace Platform

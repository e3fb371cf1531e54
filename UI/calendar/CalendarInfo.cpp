#include "UI/calendar/CalendarInfo.h"

#include "Support/EnumNames.h"

#include <boost/container_hash/hash.hpp>
#include <map>

namespace UI {

namespace {
constexpr Support::EnumName<CalendarSourceKind> kindNames[] = {
    {CalendarSourceKind::local, "local"},           {CalendarSourceKind::exchange, "exchange"},
    {CalendarSourceKind::calDAV, "calDAV"},         {CalendarSourceKind::iCloud, "iCloud"},
    {CalendarSourceKind::subscribed, "subscribed"}, {CalendarSourceKind::birthday, "birthday"},
    {CalendarSourceKind::unknown, "unknown"},
};
}

std::string_view rawValue(CalendarSourceKind kind) {
    return Support::enumName(kindNames, kind);
}

CalendarSourceKind calendarSourceKindFromRaw(std::string_view raw) {
    return Support::enumValue(kindNames, raw).value_or(CalendarSourceKind::unknown);
}

std::vector<CalendarSourceGroup> CalendarSourceGroup::grouping(const std::vector<CalendarInfo>& calendars) {
    std::vector<CalendarSourceGroup> groups;
    std::map<std::string, std::size_t> index;
    for (const auto& calendar : calendars) {
        auto [it, inserted] = index.emplace(calendar.sourceID, groups.size());
        if (inserted) {
            groups.push_back({calendar.sourceID, calendar.sourceTitle, calendar.sourceKind, {}});
        }
        groups[it->second].calendars.push_back(calendar);
    }
    return groups;
}

} // namespace UI

std::size_t std::hash<UI::CalendarInfo>::operator()(const UI::CalendarInfo& info) const noexcept {
    std::size_t seed = 0;
    boost::hash_combine(seed, info.id);
    boost::hash_combine(seed, info.title);
    boost::hash_combine(seed, info.sourceID);
    boost::hash_combine(seed, info.sourceTitle);
    boost::hash_combine(seed, static_cast<int>(info.sourceKind));
    boost::hash_combine(seed, info.colorHex);
    return seed;
}

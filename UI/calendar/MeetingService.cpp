#include "UI/calendar/MeetingService.h"

#include "Support/EnumNames.h"

namespace UI {

constexpr Support::EnumName<MeetingService> meetingServiceNames[] = {
    {MeetingService::zoom, "zoom"},
    {MeetingService::teams, "teams"},
    {MeetingService::meet, "meet"},
};

std::string_view rawValue(MeetingService service) {
    return Support::enumName(meetingServiceNames, service);
}

std::optional<MeetingService> meetingServiceFromRaw(std::string_view raw) {
    return Support::enumValue(meetingServiceNames, raw);
}

std::string_view displayName(MeetingService service) {
    switch (service) {
    case MeetingService::zoom:
        return "Zoom";
    case MeetingService::teams:
        return "Teams";
    case MeetingService::meet:
        return "Google Meet";
    }
    return "Zoom";
}

} // namespace UI

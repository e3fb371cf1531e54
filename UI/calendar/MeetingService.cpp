#include "UI/calendar/MeetingService.h"

namespace UI {

std::string_view rawValue(MeetingService service) {
    switch (service) {
    case MeetingService::zoom:
        return "zoom";
    case MeetingService::teams:
        return "teams";
    case MeetingService::meet:
        return "meet";
    }
    return "zoom";
}

std::optional<MeetingService> meetingServiceFromRaw(std::string_view raw) {
    for (auto service : allMeetingServices) {
        if (rawValue(service) == raw) {
            return service;
        }
    }
    return std::nullopt;
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

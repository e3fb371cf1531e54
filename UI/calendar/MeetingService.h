// The online-meeting services whose join links the system recognises. The raw values ("zoom", "teams",
// "meet") are stored in ledgers and JSON, so they never change.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace UI {

enum class MeetingService { zoom, teams, meet };

/// Every service, in declaration order.
inline constexpr std::array<MeetingService, 3> allMeetingServices = {
    MeetingService::zoom, MeetingService::teams, MeetingService::meet};

/// "zoom", "teams", "meet".
std::string_view rawValue(MeetingService service);
/// The service for a raw value; nothing for any other text.
std::optional<MeetingService> meetingServiceFromRaw(std::string_view raw);
/// "Zoom", "Teams", "Google Meet".
std::string_view displayName(MeetingService service);

} // namespace UI

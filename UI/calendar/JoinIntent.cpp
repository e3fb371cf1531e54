#include "UI/calendar/JoinIntent.h"

#include "Support/Text.h"
#include "Support/Uuid.h"
#include "UI/calendar/MeetingJoiner.h"

#include <algorithm>

namespace UI {

JoinIntent JoinIntent::make(CalendarMeeting meeting, Mode mode, const JoinTarget& target,
                            Support::Date createdAt, std::set<std::string> microphoneHoldersAtClick,
                            std::string id) {
    auto expires = expiry(createdAt, meeting);
    JoinIntent intent{.id = id.empty() ? Support::Uuid::generate() : std::move(id),
                      .meeting = std::move(meeting),
                      .mode = mode,
                      .detectorAppID = target.detectorAppID,
                      .bundleIDs = {},
                      .createdAt = createdAt,
                      .expiresAt = expires,
                      .state = State::armed,
                      .wasNudged = false,
                      .microphoneHoldersAtClick = std::move(microphoneHoldersAtClick)};
    if (target.bundleID) {
        intent.bundleIDs.insert(Support::Text::asciiLowercased(*target.bundleID));
    }
    // Every Zoom build and both Teams generations take the same call.
    if (target.detectorAppID == MeetingJoiner::zoomDetectorID) {
        intent.bundleIDs.insert("us.zoom");
    } else if (target.detectorAppID == MeetingJoiner::teamsDetectorID) {
        intent.bundleIDs.insert("com.microsoft.teams");
    }
    return intent;
}

Support::Date JoinIntent::expiry(Support::Date clickedAt, const CalendarMeeting& meeting) {
    return std::min(std::max(meeting.start, clickedAt) + Support::seconds(lifetime), meeting.end);
}

Support::Date JoinIntent::nudgeTime(Support::Date clickedAt, const CalendarMeeting& meeting) {
    return std::max(meeting.start, clickedAt) + Support::seconds(nudgeDelay);
}

bool JoinIntent::matches(std::string_view bundleID, bool callIsBrowser) const {
    if (isBrowser()) {
        return callIsBrowser;
    }
    if (callIsBrowser) {
        return false;
    }
    auto lowered = Support::Text::asciiLowercased(bundleID);
    return std::any_of(bundleIDs.begin(), bundleIDs.end(),
                       [&](const std::string& prefix) { return Support::Text::startsWith(lowered, prefix); });
}

std::string_view rawValue(JoinIntent::Mode mode) {
    return mode == JoinIntent::Mode::record ? "record" : "skip";
}

std::string_view rawValue(JoinIntent::State state) {
    switch (state) {
    case JoinIntent::State::armed:
        return "armed";
    case JoinIntent::State::consumed:
        return "consumed";
    case JoinIntent::State::expired:
        return "expired";
    }
    return "armed";
}

} // namespace UI

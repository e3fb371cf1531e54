// The user's wish, taken when they join a meeting from a reminder, about recording the call that follows:
// "record" (Join & Record: record even when automatic recording is off) or "skip" (Join: leave it
// unrecorded even when automatic recording is on). It names the call detector and the apps expected to
// take the call, and is armed from the click until shortly after the meeting started.
#pragma once

#include "Support/Time.h"
#include "UI/calendar/CalendarMeeting.h"
#include "UI/calendar/JoinTarget.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace UI {

struct JoinIntent {
    enum class Mode { record, skip };
    enum class State { armed, consumed, expired };

    static constexpr double lifetime = 900;
    static constexpr double nudgeDelay = 120;

    std::string id;
    CalendarMeeting meeting;
    Mode mode = Mode::record;
    /// "zoom", "teams" or "meet" (any browser call).
    std::string detectorAppID;
    /// Lower-cased bundle identifiers (prefixes) of the apps expected to take the call.
    std::set<std::string> bundleIDs;
    Support::Date createdAt;
    Support::Date expiresAt;
    State state = State::armed;
    bool wasNudged = false;
    std::set<std::string> microphoneHoldersAtClick;

    /// An armed intent for a click at `createdAt`; `id` defaults to a new UUID.
    static JoinIntent make(CalendarMeeting meeting, Mode mode, const JoinTarget& target,
                           Support::Date createdAt, std::set<std::string> microphoneHoldersAtClick,
                           std::string id = {});

    const std::string& occurrenceKey() const { return meeting.occurrenceKey; }
    bool isBrowser() const { return detectorAppID == "meet"; }
    bool wasOnMicrophoneAtClick(const std::string& bundleID) const {
        return microphoneHoldersAtClick.count(bundleID) > 0;
    }

    /// The later of the start and the click, plus `lifetime`, but never after the meeting's end.
    static Support::Date expiry(Support::Date clickedAt, const CalendarMeeting& meeting);
    /// The later of the start and the click, plus `nudgeDelay`.
    static Support::Date nudgeTime(Support::Date clickedAt, const CalendarMeeting& meeting);

    /// Whether a call reported by the detector (its app's bundle id, or a browser call) is this intent's.
    bool matches(std::string_view bundleID, bool isBrowser) const;
    /// Armed and not yet expired at `at`.
    bool isLive(Support::Date at) const { return state == State::armed && at < expiresAt; }

    bool operator==(const JoinIntent&) const = default;
};

/// "record", "skip".
std::string_view rawValue(JoinIntent::Mode mode);
/// "armed", "consumed", "expired".
std::string_view rawValue(JoinIntent::State state);

} // namespace UI

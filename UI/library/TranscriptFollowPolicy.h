// Whether the transcript list follows playback, as a value: engaged or not, and the date until which a
// user's scroll keeps following paused. The follow controller drives it; every function takes `now`.
#pragma once

#include "Support/Time.h"

#include <optional>

namespace UI {

struct TranscriptFollowPolicy {
    /// How long a user's scroll pauses following.
    static constexpr Support::Duration scrollPause = std::chrono::seconds(6);

    bool isEngaged = true;
    std::optional<Support::Date> pauseDeadline;

    /// A pause is running while now is before the deadline.
    bool isPaused(Support::Date now) const { return pauseDeadline && now < *pauseDeadline; }

    /// A scroll by the user: starts a pause and disengages, unless a pause is already running (a scroll
    /// during a pause does not extend it).
    void noteScroll(Support::Date now) {
        if (isPaused(now)) {
            return;
        }
        pauseDeadline = now + scrollPause;
        isEngaged = false;
    }

    /// The active row was laid out on screen: engages unless a pause is running; the deadline stays.
    void noteVisibleActiveRow(Support::Date now) {
        if (!isPaused(now)) {
            isEngaged = true;
        }
    }

    /// The follow button: clears the pause and engages.
    void resume() {
        pauseDeadline.reset();
        isEngaged = true;
    }

    bool operator==(const TranscriptFollowPolicy&) const = default;
};

} // namespace UI

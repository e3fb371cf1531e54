#include "UI/calendar/JoinIntentSnapshot.h"

#include <algorithm>

namespace UI {

JoinDirective JoinIntentSnapshot::directive(std::string_view bundleID, bool isBrowser,
                                            Support::Date now) const {
    const JoinIntent* chosen = nullptr;
    for (const auto& intent : intents) {
        if (intent.isLive(now) && intent.matches(bundleID, isBrowser) &&
            (!chosen || intent.createdAt >= chosen->createdAt)) {
            chosen = &intent;
        }
    }
    if (!chosen) {
        return JoinDirective::ignore();
    }
    return chosen->mode == JoinIntent::Mode::record ? JoinDirective::record(*chosen)
                                                    : JoinDirective::suppress(*chosen);
}

bool JoinIntentSnapshot::hasLiveRecord(Support::Date now) const {
    return std::any_of(intents.begin(), intents.end(), [&](const JoinIntent& intent) {
        return intent.mode == JoinIntent::Mode::record && intent.isLive(now);
    });
}

} // namespace UI

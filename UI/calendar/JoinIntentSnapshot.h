// An immutable copy of the join intents, taken under the store's lock, on which decisions are evaluated
// without holding any lock. When several live intents match one call, the most recently created one
// speaks (the user's latest click).
#pragma once

#include "Support/Time.h"
#include "UI/calendar/JoinDirective.h"
#include "UI/calendar/JoinIntent.h"

#include <string_view>
#include <vector>

namespace UI {

struct JoinIntentSnapshot {
    std::vector<JoinIntent> intents;

    JoinDirective directive(std::string_view bundleID, bool isBrowser, Support::Date now) const;
    /// An armed, unexpired "record" intent exists.
    bool hasLiveRecord(Support::Date now) const;
};

} // namespace UI

// What the armed join intents say about a call the detector has just reported: record it (a Join & Record
// intent), leave it alone (a Join intent), or nothing applies and the automatic-recording preference
// decides.
#pragma once

#include "UI/calendar/JoinIntent.h"

#include <optional>

namespace UI {

struct JoinDirective {
    enum class Kind { record, suppress, ignore };

    Kind kind = Kind::ignore;
    std::optional<JoinIntent> carried;

    static JoinDirective record(JoinIntent intent) { return {Kind::record, std::move(intent)}; }
    static JoinDirective suppress(JoinIntent intent) { return {Kind::suppress, std::move(intent)}; }
    static JoinDirective ignore() { return {}; }

    /// The carried intent (nothing for `ignore`).
    const std::optional<JoinIntent>& intent() const { return carried; }

    bool operator==(const JoinDirective&) const = default;
};

} // namespace UI

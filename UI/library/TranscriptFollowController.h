// Decides whether the transcript list scrolls along with playback. The transcript tab reports the user's
// scrolls, the layout of the row being played and the viewport height; the controller publishes
// `isEngaged` (only when it changes). Main thread. The clock is injected so that tests drive it.
#pragma once

#include "Support/Signal.h"
#include "Support/Time.h"
#include "UI/library/RowVisibility.h"
#include "UI/library/TranscriptFollowPolicy.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace UI {

class TranscriptFollowController {
public:
    /// A row is visible when its middle is at least this far below the top of the viewport...
    static constexpr double topInset = 88;
    /// ...and at least this far above its bottom.
    static constexpr double bottomInset = 64;

    explicit TranscriptFollowController(std::function<Support::Date()> now);

    Support::Published<bool> isEngaged{true};

    void noteScroll();
    void resume();
    void noteActiveRow(std::int64_t id, RowFrame frame);
    void setViewportHeight(double height) { viewportHeight_ = height; }
    RowVisibility visibility(std::int64_t id) const;

    const TranscriptFollowPolicy& policy() const { return policy_; }

private:
    struct ActiveRow {
        std::int64_t id;
        RowFrame frame;
    };
    void publish();

    std::function<Support::Date()> now_;
    TranscriptFollowPolicy policy_;
    std::optional<ActiveRow> activeRow_;
    double viewportHeight_ = 0;
};

} // namespace UI

#include "UI/library/TranscriptFollowController.h"

#include <cmath>

namespace UI {

TranscriptFollowController::TranscriptFollowController(std::function<Support::Date()> now)
    : now_(std::move(now)) {}

void TranscriptFollowController::publish() {
    isEngaged.setIfChanged(policy_.isEngaged);
}

void TranscriptFollowController::noteScroll() {
    policy_.noteScroll(now_());
    publish();
}

void TranscriptFollowController::resume() {
    policy_.resume();
    publish();
}

void TranscriptFollowController::noteActiveRow(std::int64_t id, RowFrame frame) {
    activeRow_ = ActiveRow{id, frame};
    if (visibility(id) == RowVisibility::visible) {
        policy_.noteVisibleActiveRow(now_());
        publish();
    }
}

RowVisibility TranscriptFollowController::visibility(std::int64_t id) const {
    if (!activeRow_ || activeRow_->id != id) {
        return RowVisibility::unknown;
    }
    const RowFrame& f = activeRow_->frame;
    if (!std::isfinite(f.height) || !std::isfinite(f.minY()) || !(viewportHeight_ > 0)) {
        return RowVisibility::unknown;
    }
    const double mid = f.midY();
    return mid >= topInset && mid <= viewportHeight_ - bottomInset ? RowVisibility::visible
                                                                   : RowVisibility::offscreen;
}

} // namespace UI

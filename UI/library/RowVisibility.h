// Where the row of the segment being played is, as last laid out: on screen, off screen, or not known
// (no row reported yet, another row, or a layout without usable numbers).
#pragma once

namespace UI {

enum class RowVisibility { visible, offscreen, unknown };

/// A rectangle in the transcript list's coordinate space (points, y grows downwards).
struct RowFrame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minY() const { return y; }
    double midY() const { return y + height / 2; }
    bool operator==(const RowFrame&) const = default;
};

} // namespace UI

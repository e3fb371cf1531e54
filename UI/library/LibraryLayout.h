// The library window's fixed measures, in points. At the minimum window width the detail column is exactly
// what is left beside the sidebar and the divider.
#pragma once

namespace UI {

struct LibraryLayout {
    static constexpr double sidebarWidth = 320;
    static constexpr double detailMinWidth = 640;
    static constexpr double dividerWidth = 1;
    static constexpr double minWindowWidth = 1122;
    static constexpr double detailWidthAtMinimumWindow = 801;
    static constexpr double minContentHeight = 640;
    static constexpr double idealWindowWidth = 1240;
    static constexpr double idealContentHeight = 780;

    static_assert(minWindowWidth - sidebarWidth - dividerWidth == detailWidthAtMinimumWindow);
    static_assert(detailWidthAtMinimumWindow >= detailMinWidth);
};

} // namespace UI

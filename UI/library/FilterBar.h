// The library's filter bar: the direct filter buttons, the overflow menu, and the title of the "Custom"
// filter, which shows the chosen date range once both ends are set.
#pragma once

#include "Support/Time.h"
#include "UI/library/DateContext.h"

#include <optional>
#include <string>

namespace UI {

struct FilterBar {
    /// "Nov 2 - Nov 9" when both dates are set, else "Custom".
    static std::string customTitle(const std::optional<Support::Date>& start,
                                   const std::optional<Support::Date>& end,
                                   const DateContext& context = DateContext::current());
};

} // namespace UI

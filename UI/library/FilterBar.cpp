#include "UI/library/FilterBar.h"

namespace UI {

std::string FilterBar::customTitle(const std::optional<Support::Date>& start,
                                   const std::optional<Support::Date>& end, const DateContext& context) {
    if (!start || !end) {
        return "Custom";
    }
    return context.format(*start, "MMM d") + " - " + context.format(*end, "MMM d");
}

} // namespace UI

#include "UI/library/Formatters.h"

namespace UI::Formatters {

std::string formatRelativeDate(Support::Date date, bool expanded, Support::Date now,
                               const DateContext& context) {
    const int days = context.wholeDaysBetween(date, now);
    if (days == 0) {
        return expanded ? "Today at " + context.format(date, "h:mm a") : "Today";
    }
    if (days == 1) {
        return expanded ? "Yesterday at " + context.format(date, "h:mm a") : "Yesterday";
    }
    if (days >= 2 && days <= 6) {
        return std::to_string(days) + " days ago";
    }
    if (days >= 7 && days <= 13) {
        return "Last week";
    }
    if (context.year(date) == context.year(now)) {
        return context.format(date, expanded ? "MMM d 'at' h:mm a" : "MMM d");
    }
    return context.format(date, expanded ? "MMM d, yyyy 'at' h:mm a" : "MMM d, yyyy");
}

} // namespace UI::Formatters

// Relative date wording for the library list and detail: "Today", "Yesterday at 3:05 PM", "3 days ago",
// "Last week", "Nov 2", "Nov 2, 2025 at 9:00 AM". Pure: `now` and the calendar context are parameters.
#pragma once

#include "Support/Time.h"
#include "UI/library/DateContext.h"

#include <string>

namespace UI::Formatters {

std::string formatRelativeDate(Support::Date date, bool expanded, Support::Date now,
                               const DateContext& context = DateContext::current());

} // namespace UI::Formatters

// Size and count limits shared by problem reports and crash reports.
#pragma once

#include <cstddef>

namespace UI::FeedbackLimits {

/// Fewest characters of the user's message in a problem report.
inline constexpr std::size_t messageMin = 10;
/// Most characters of the user's message.
inline constexpr std::size_t messageMax = 5000;
/// Most characters of the optional reply e-mail address.
inline constexpr std::size_t emailMax = 254;
/// Most log entries attached to a report.
inline constexpr std::size_t logEntriesMax = 500;
/// Most bytes of attached log text (200 KiB).
inline constexpr std::size_t logBytesMax = 204'800;
/// Most bytes of one encoded report (256 KiB).
inline constexpr std::size_t reportBytesMax = 262'144;
/// Most crash reports sent together.
inline constexpr std::size_t crashesMax = 5;

} // namespace UI::FeedbackLimits

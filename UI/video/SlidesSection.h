// The status line of a recording's slides section: what to say instead of (or above) the pictures.
#pragma once

#include "Intelligence/Slide.h"

#include <optional>
#include <string>

namespace UI::SlidesSection {

inline constexpr const char* readingText = "Reading the shared screen\u2026";
inline constexpr const char* nothingSharedText = "Nothing was shared on screen.";
inline constexpr const char* nothingSavedText = "Nothing was saved from the screen for this recording. "
                                                "Slides and key screens are found in the video of a "
                                                "call where someone shared their screen.";

/// While the screen is being read: `readingText`. With pictures: nothing (the pictures say it). After a
/// reading that found no slides: `nothingSharedText`. Otherwise (never read, or the reading failed):
/// `nothingSavedText`.
std::optional<std::string>
statusText(bool isReading, const std::optional<Intelligence::Slide::Outcome>& lastOutcome, bool hasPictures);

} // namespace UI::SlidesSection

#include "UI/video/SlidesSection.h"

namespace UI::SlidesSection {

std::optional<std::string>
statusText(bool isReading, const std::optional<Intelligence::Slide::Outcome>& lastOutcome, bool hasPictures) {
    if (isReading) {
        return readingText;
    }
    if (hasPictures) {
        return std::nullopt;
    }
    if (lastOutcome && lastOutcome->kind == Intelligence::Slide::Outcome::Kind::read) {
        return nothingSharedText;
    }
    return nothingSavedText;
}

} // namespace UI::SlidesSection

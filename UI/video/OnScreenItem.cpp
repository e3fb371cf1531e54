#include "UI/video/OnScreenItem.h"

#include "Support/Text.h"

#include <algorithm>

namespace UI {

std::string OnScreenItem::nameFromText(const std::string& text, const std::string& fallback) {
    for (const auto& line : Support::Text::lines(Support::Text::sanitizedUTF8(text))) {
        auto name = Support::Text::trimmed(line);
        if (name.empty()) {
            continue;
        }
        if (Support::Text::graphemeCount(name) > maximumNameLength) {
            name =
                Support::Text::trimmed(Support::Text::graphemePrefix(name, maximumNameLength - 1)) + "\u2026";
        }
        return name;
    }
    return fallback;
}

std::vector<OnScreenItem>
OnScreenItem::items(const std::vector<Database::DatabaseManager::Slide>& slides,
                    const std::vector<Database::DatabaseManager::ScreenCapture>& screens) {
    std::vector<OnScreenItem> result;
    int number = 0;
    for (const auto& slide : slides) {
        ++number;
        auto text = Support::Text::trimmed(slide.text);
        result.push_back({"slide-" + std::to_string(slide.id), Source::slide,
                          nameFromText(text, "Slide " + std::to_string(number)), slide.time, slide.text, text,
                          false});
    }
    number = 0;
    for (const auto& screen : screens) {
        ++number;
        auto text = Support::Text::trimmed(screen.screenText);
        bool hasLabel = screen.label && !Support::Text::isBlank(*screen.label);
        auto name = hasLabel ? Support::Text::trimmed(*screen.label)
                             : nameFromText(text, "Screen " + std::to_string(number));
        result.push_back({"screen-" + std::to_string(screen.id), Source::screen, name, screen.time,
                          screen.screenText, text, !hasLabel});
    }
    std::stable_sort(result.begin(), result.end(), [](const OnScreenItem& a, const OnScreenItem& b) {
        return a.playbackTime < b.playbackTime;
    });
    return result;
}

} // namespace UI

// One picture of the slides section and the on-screen viewer: a slide or a shared screen, with the name
// shown under it, when it was first on screen and its text. A screen without an AI name yet is named from
// its own text (its first line), and says so with `provisionalNameHint`.
#pragma once

#include "Database/DatabaseManager.h"

#include <string>
#include <vector>

namespace UI {

struct OnScreenItem {
    enum class Source { slide, screen };

    /// "slide-<id>" or "screen-<id>": unique across both kinds.
    std::string id;
    Source source = Source::slide;
    std::string name;
    /// Seconds from the start of the recording at which it was first on screen.
    double playbackTime = 0;
    /// The text read from it.
    std::string screenText;
    /// What "Copy the text on this screen" copies.
    std::string copyableText;
    /// True while the name is read from the screen rather than given by the AI.
    bool isNamedFromScreen = false;

    bool operator==(const OnScreenItem&) const = default;

    static constexpr const char* provisionalNameHint =
        "Named from the screen. The AI names them once it's ready.";
    /// Names longer than this (user-perceived characters) are cut with "…".
    static constexpr std::size_t maximumNameLength = 60;

    /// Every picture in the order it was on screen (a slide before a screen of the same moment).
    static std::vector<OnScreenItem>
    items(const std::vector<Database::DatabaseManager::Slide>& slides,
          const std::vector<Database::DatabaseManager::ScreenCapture>& screens);
    /// A name from a picture's text: its first non-blank line, cut to `maximumNameLength`; `fallback` when
    /// the text has none.
    static std::string nameFromText(const std::string& text, const std::string& fallback);
};

} // namespace UI

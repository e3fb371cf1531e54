// The menu as plain text, for the terminal host and `vellmora menu`. One line per entry, key equivalents
// right-aligned as "⌘R", separators as a rule, the header as the app name with the duration on the right,
// then the status and the processing lines. An entry with an action that is disabled ends in "(disabled)";
// an Option-key alternate is indented under its entry and marked "⌥". Text entries without an action
// (section titles, notices) are printed as they are.
#pragma once

#include "Platform/Menu.h"
#include "Platform/StatusItem.h"

#include <cstddef>
#include <optional>
#include <string>

namespace UI::MenuTextRenderer {

inline constexpr std::size_t defaultWidth = 52;

std::string render(const Platform::Menu& menu, std::size_t width = defaultWidth);
/// "[waveform.circle.fill, red]": the icon as words.
std::string describeIcon(const Platform::StatusIcon& icon);

} // namespace UI::MenuTextRenderer

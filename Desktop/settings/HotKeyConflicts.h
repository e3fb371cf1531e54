// What the hot-key settings say about the two shortcuts: a combination typed that is no shortcut, the same
// combination chosen for both, and a live recap combination another application holds (the host records
// that under "liveRecap.shortcutRegistrationFailed" when it registers the key). Pure; used by the hot-key
// page of the settings window.
#pragma once

#include "UI/recording/NotesShortcut.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Desktop::HotKeyConflicts {

/// The shortcut typed ("⌥⌘N", "ctrl+alt+n"), or the sentence that says why it cannot be one.
std::variant<UI::NotesShortcut, std::string> parse(std::string_view text);

/// The conflict report under the two shortcuts, or nothing when both work.
std::optional<std::string> report(const UI::NotesShortcut& notes, const UI::NotesShortcut& liveRecap,
                                  bool liveRecapTaken);

} // namespace Desktop::HotKeyConflicts

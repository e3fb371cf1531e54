#include "Desktop/settings/HotKeyConflicts.h"

namespace Desktop::HotKeyConflicts {

std::variant<UI::NotesShortcut, std::string> parse(std::string_view text) {
    auto shortcut = UI::NotesShortcut::parse(text);
    if (!shortcut) {
        return "\"" + std::string(text) + "\" is not a key combination (try \"alt+cmd+n\" or \"⌥⌘N\").";
    }
    if (!shortcut->isValid()) {
        return shortcut->displayString() +
               " cannot be a shortcut: hold Command, Option or Control, with a key that is not a modifier.";
    }
    return *shortcut;
}

std::optional<std::string> report(const UI::NotesShortcut& notes, const UI::NotesShortcut& liveRecap,
                                  bool liveRecapTaken) {
    if (notes == liveRecap) {
        return notes.displayString() +
               " is set for both the notes and the live recap shortcuts: change one of them.";
    }
    if (liveRecapTaken) {
        return liveRecap.displayString() +
               " is taken by another application: choose another live recap shortcut.";
    }
    return std::nullopt;
}

} // namespace Desktop::HotKeyConflicts

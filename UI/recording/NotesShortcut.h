// A global hot-key combination as the user configures it: a virtual key code of the Mac keyboard layout and
// a modifier mask (command 0x100, shift 0x200, option 0x800, control 0x1000). Used for both hot keys: the
// notes panel's (this type's own constants) and the live recap's (`LiveRecapShortcut`).
//
// Stored in the user defaults as the JSON object {"keyCode": 45, "modifiers": 2304}. Loading falls back to
// the default when the value is absent, undecodable or not valid, so a damaged setting never leaves the user
// without a shortcut. `save` and `reset` post the shortcut's change notification.
//
// Valid: at least one of command, option or control, nothing outside command, shift, option and control,
// and the key itself is not a modifier key (⇧N is rejected, ⌃⇧N accepted).
#pragma once

#include "Support/NotificationCenter.h"
#include "Support/UserDefaults.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

struct NotesShortcut {
    std::uint32_t keyCode = 0;
    std::uint32_t modifiers = 0;

    // The modifier mask's bits.
    static constexpr std::uint32_t command = 0x100;
    static constexpr std::uint32_t shift = 0x200;
    static constexpr std::uint32_t option = 0x800;
    static constexpr std::uint32_t control = 0x1000;
    static constexpr std::uint32_t requiredModifiers = 6400;
    static constexpr std::uint32_t allowedModifiers = 6912;

    /// Modifier flags of a key event (the window system's device-independent flags).
    enum EventFlag : std::uint64_t {
        capsLockFlag = 1ull << 16,
        shiftFlag = 1ull << 17,
        controlFlag = 1ull << 18,
        optionFlag = 1ull << 19,
        commandFlag = 1ull << 20,
        numericPadFlag = 1ull << 21,
        helpFlag = 1ull << 22,
        functionFlag = 1ull << 23,
    };

    /// ⌥⌘N.
    static const NotesShortcut defaultShortcut;
    static constexpr const char* defaultsKey = "notes.shortcut";
    static constexpr const char* didChangeNotification = "NotesShortcutDidChange";

    /// From a key event's key code and modifier flags.
    static NotesShortcut fromEvent(std::uint32_t keyCode, std::uint64_t flags) {
        return {keyCode, carbonModifiers(flags)};
    }
    /// The event flags as the hot-key modifier mask (other flags dropped).
    static std::uint32_t carbonModifiers(std::uint64_t flags);

    bool isValid() const;
    static bool isModifierKeyCode(std::uint32_t keyCode);

    /// Held modifiers in the order ⌃ ⌥ ⇧ ⌘.
    std::string modifierSymbols() const;
    /// The key's symbol ("N", "↩", "F5"), or "Key " and the decimal key code when the table lacks it.
    std::string keySymbol() const;
    /// Modifier symbols followed by the key symbol: "⌥⌘N".
    std::string displayString() const;
    /// One keycap per modifier and one for the key: {"⌥", "⌘", "N"}.
    std::vector<std::string> keycaps() const;
    /// Spoken form: "Option Command N".
    std::string accessibilityLabel() const;

    /// Reads "⌥⌘N", "alt+cmd+n", "Control-Shift-F5", "ctrl+space": modifier names or symbols, then the key.
    /// Nothing when the text names no key or an unknown modifier; the result may still be invalid.
    static std::optional<NotesShortcut> parse(std::string_view text);

    std::string encoded() const;
    static std::optional<NotesShortcut> decoded(std::string_view json);

    /// The stored notes shortcut, or the default.
    static NotesShortcut load(const Support::UserDefaults& defaults);
    static void save(const NotesShortcut& shortcut, Support::UserDefaults& defaults,
                     Support::NotificationCenter& center);
    static void reset(Support::UserDefaults& defaults, Support::NotificationCenter& center);

    /// Shared by both hot keys: the stored value under `key`, or `fallback`.
    static NotesShortcut loadStored(const Support::UserDefaults& defaults, const std::string& key,
                                    const NotesShortcut& fallback);

    bool operator==(const NotesShortcut&) const = default;
};

inline const NotesShortcut NotesShortcut::defaultShortcut{45, NotesShortcut::command | NotesShortcut::option};

/// The key-symbol table: virtual key code → what a keycap shows.
struct KeySymbolEntry {
    std::uint32_t keyCode;
    const char* symbol;
    /// The spoken name, when it differs from the symbol ("Return" for "↩").
    const char* spokenName;
};
const std::vector<KeySymbolEntry>& keySymbolTable();

} // namespace UI

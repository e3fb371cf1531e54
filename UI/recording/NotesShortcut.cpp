#include "UI/recording/NotesShortcut.h"

#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace UI {

const std::vector<KeySymbolEntry>& keySymbolTable() {
    // Virtual key codes of the ANSI layout; what a keycap and a menu show for each.
    static const std::vector<KeySymbolEntry> table = {
        {0, "A", nullptr},
        {1, "S", nullptr},
        {2, "D", nullptr},
        {3, "F", nullptr},
        {4, "H", nullptr},
        {5, "G", nullptr},
        {6, "Z", nullptr},
        {7, "X", nullptr},
        {8, "C", nullptr},
        {9, "V", nullptr},
        {10, "§", "Section"},
        {11, "B", nullptr},
        {12, "Q", nullptr},
        {13, "W", nullptr},
        {14, "E", nullptr},
        {15, "R", nullptr},
        {16, "Y", nullptr},
        {17, "T", nullptr},
        {18, "1", nullptr},
        {19, "2", nullptr},
        {20, "3", nullptr},
        {21, "4", nullptr},
        {22, "6", nullptr},
        {23, "5", nullptr},
        {24, "=", "Equals"},
        {25, "9", nullptr},
        {26, "7", nullptr},
        {27, "-", "Minus"},
        {28, "8", nullptr},
        {29, "0", nullptr},
        {30, "]", "Right Bracket"},
        {31, "O", nullptr},
        {32, "U", nullptr},
        {33, "[", "Left Bracket"},
        {34, "I", nullptr},
        {35, "P", nullptr},
        {36, "↩", "Return"},
        {37, "L", nullptr},
        {38, "J", nullptr},
        {39, "'", "Quote"},
        {40, "K", nullptr},
        {41, ";", "Semicolon"},
        {42, "\\", "Backslash"},
        {43, ",", "Comma"},
        {44, "/", "Slash"},
        {45, "N", nullptr},
        {46, "M", nullptr},
        {47, ".", "Period"},
        {48, "⇥", "Tab"},
        {49, "Space", nullptr},
        {50, "`", "Grave Accent"},
        {51, "⌫", "Delete"},
        {53, "⎋", "Escape"},
        {64, "F17", nullptr},
        {65, "Keypad .", "Keypad Decimal"},
        {67, "Keypad *", "Keypad Multiply"},
        {69, "Keypad +", "Keypad Plus"},
        {71, "⌧", "Clear"},
        {75, "Keypad /", "Keypad Divide"},
        {76, "⌤", "Enter"},
        {78, "Keypad -", "Keypad Minus"},
        {79, "F18", nullptr},
        {80, "F19", nullptr},
        {81, "Keypad =", "Keypad Equals"},
        {82, "Keypad 0", nullptr},
        {83, "Keypad 1", nullptr},
        {84, "Keypad 2", nullptr},
        {85, "Keypad 3", nullptr},
        {86, "Keypad 4", nullptr},
        {87, "Keypad 5", nullptr},
        {88, "Keypad 6", nullptr},
        {89, "Keypad 7", nullptr},
        {90, "F20", nullptr},
        {91, "Keypad 8", nullptr},
        {92, "Keypad 9", nullptr},
        {96, "F5", nullptr},
        {97, "F6", nullptr},
        {98, "F7", nullptr},
        {99, "F3", nullptr},
        {100, "F8", nullptr},
        {101, "F9", nullptr},
        {103, "F11", nullptr},
        {105, "F13", nullptr},
        {106, "F16", nullptr},
        {107, "F14", nullptr},
        {109, "F10", nullptr},
        {111, "F12", nullptr},
        {113, "F15", nullptr},
        {114, "Help", nullptr},
        {115, "↖", "Home"},
        {116, "⇞", "Page Up"},
        {117, "⌦", "Forward Delete"},
        {118, "F4", nullptr},
        {119, "↘", "End"},
        {120, "F2", nullptr},
        {121, "⇟", "Page Down"},
        {122, "F1", nullptr},
        {123, "←", "Left Arrow"},
        {124, "→", "Right Arrow"},
        {125, "↓", "Down Arrow"},
        {126, "↑", "Up Arrow"},
    };
    return table;
}

namespace {

const KeySymbolEntry* entryFor(std::uint32_t keyCode) {
    const auto& table = keySymbolTable();
    auto it = std::find_if(table.begin(), table.end(), [&](const auto& e) { return e.keyCode == keyCode; });
    return it == table.end() ? nullptr : &*it;
}

struct ModifierName {
    std::uint32_t bit;
    const char* symbol;
    const char* spoken;
};
// The fixed display order.
constexpr ModifierName modifierOrder[] = {
    {NotesShortcut::control, "⌃", "Control"},
    {NotesShortcut::option, "⌥", "Option"},
    {NotesShortcut::shift, "⇧", "Shift"},
    {NotesShortcut::command, "⌘", "Command"},
};

std::optional<std::uint32_t> modifierNamed(const std::string& name) {
    static const std::pair<const char*, std::uint32_t> names[] = {
        {"ctrl", NotesShortcut::control},    {"control", NotesShortcut::control},
        {"⌃", NotesShortcut::control},       {"alt", NotesShortcut::option},
        {"opt", NotesShortcut::option},      {"option", NotesShortcut::option},
        {"⌥", NotesShortcut::option},        {"shift", NotesShortcut::shift},
        {"⇧", NotesShortcut::shift},         {"cmd", NotesShortcut::command},
        {"command", NotesShortcut::command}, {"super", NotesShortcut::command},
        {"meta", NotesShortcut::command},    {"⌘", NotesShortcut::command},
    };
    for (const auto& [n, bit] : names) {
        if (name == n) {
            return bit;
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> keyNamed(const std::string& text) {
    const std::string lower = Support::Text::lowercased(text);
    static const std::pair<const char*, std::uint32_t> aliases[] = {
        {"return", 36},    {"enter", 36}, {"tab", 48},     {"space", 49},          {"delete", 51},
        {"backspace", 51}, {"esc", 53},   {"escape", 53},  {"forwarddelete", 117}, {"del", 117},
        {"home", 115},     {"end", 119},  {"pageup", 116}, {"pagedown", 121},      {"left", 123},
        {"right", 124},    {"down", 125}, {"up", 126},     {"help", 114},
    };
    for (const auto& [n, code] : aliases) {
        if (lower == n) {
            return code;
        }
    }
    for (const auto& e : keySymbolTable()) {
        if (Support::Text::lowercased(e.symbol) == lower ||
            (e.spokenName && Support::Text::lowercased(e.spokenName) == lower)) {
            return e.keyCode;
        }
    }
    return std::nullopt;
}

} // namespace

std::uint32_t NotesShortcut::carbonModifiers(std::uint64_t flags) {
    std::uint32_t mask = 0;
    if (flags & commandFlag) {
        mask |= command;
    }
    if (flags & shiftFlag) {
        mask |= shift;
    }
    if (flags & optionFlag) {
        mask |= option;
    }
    if (flags & controlFlag) {
        mask |= control;
    }
    return mask;
}

bool NotesShortcut::isModifierKeyCode(std::uint32_t code) {
    // Right command, command, shift, caps lock, option, control, right shift, right option, right control,
    // fn.
    return code >= 54 && code <= 63;
}

bool NotesShortcut::isValid() const {
    return (modifiers & requiredModifiers) != 0 && (modifiers & ~allowedModifiers) == 0 &&
           !isModifierKeyCode(keyCode);
}

std::string NotesShortcut::modifierSymbols() const {
    std::string out;
    for (const auto& m : modifierOrder) {
        if (modifiers & m.bit) {
            out += m.symbol;
        }
    }
    return out;
}

std::string NotesShortcut::keySymbol() const {
    if (const auto* e = entryFor(keyCode)) {
        return e->symbol;
    }
    return "Key " + std::to_string(keyCode);
}

std::string NotesShortcut::displayString() const {
    return modifierSymbols() + keySymbol();
}

std::vector<std::string> NotesShortcut::keycaps() const {
    std::vector<std::string> caps;
    for (const auto& m : modifierOrder) {
        if (modifiers & m.bit) {
            caps.emplace_back(m.symbol);
        }
    }
    caps.push_back(keySymbol());
    return caps;
}

std::string NotesShortcut::accessibilityLabel() const {
    std::vector<std::string> words;
    for (const auto& m : modifierOrder) {
        if (modifiers & m.bit) {
            words.emplace_back(m.spoken);
        }
    }
    const auto* e = entryFor(keyCode);
    words.push_back(e && e->spokenName ? e->spokenName : keySymbol());
    return Support::Text::joined(words, " ");
}

std::optional<NotesShortcut> NotesShortcut::parse(std::string_view input) {
    const std::string text = Support::Text::trimmed(input);
    if (text.empty()) {
        return std::nullopt;
    }
    NotesShortcut result;
    // Named form: "alt+cmd+n", "Control-Shift-F5". A trailing separator is the key itself ("cmd+-").
    const bool named =
        text.size() > 1 && text.find_first_of("+-") != std::string::npos && text.find_first_of("+-") != 0;
    if (named) {
        std::vector<std::string> parts;
        size_t start = 0;
        while (start < text.size()) {
            size_t sep = text.find_first_of("+-", start);
            if (sep == start) { // the key is the separator character itself
                sep = start + 1;
            }
            if (sep == std::string::npos) {
                sep = text.size();
            }
            parts.push_back(Support::Text::trimmed(text.substr(start, sep - start)));
            start = sep + 1;
        }
        if (parts.size() < 2) {
            return std::nullopt;
        }
        for (size_t i = 0; i + 1 < parts.size(); ++i) {
            auto bit = modifierNamed(Support::Text::lowercased(parts[i]));
            if (!bit) {
                return std::nullopt;
            }
            result.modifiers |= *bit;
        }
        auto key = keyNamed(parts.back());
        if (!key) {
            return std::nullopt;
        }
        result.keyCode = *key;
        return result;
    }
    // Symbol form: "⌥⌘N", "⌃⇧F5", "⌘Space".
    std::string_view rest = text;
    for (bool found = true; found;) {
        found = false;
        for (const auto& m : modifierOrder) {
            if (rest.starts_with(m.symbol)) {
                result.modifiers |= m.bit;
                rest.remove_prefix(std::string_view(m.symbol).size());
                found = true;
            }
        }
    }
    auto key = keyNamed(std::string(rest));
    if (!key) {
        return std::nullopt;
    }
    result.keyCode = *key;
    return result;
}

std::string NotesShortcut::encoded() const {
    return nlohmann::json{{"keyCode", keyCode}, {"modifiers", modifiers}}.dump();
}

std::optional<NotesShortcut> NotesShortcut::decoded(std::string_view json) {
    auto value = nlohmann::json::parse(json, nullptr, false);
    if (!value.is_object()) {
        return std::nullopt;
    }
    auto field = [&](const char* key) -> std::optional<std::uint32_t> {
        auto it = value.find(key);
        if (it == value.end() || !it->is_number_unsigned()) {
            return std::nullopt;
        }
        auto n = it->get<std::uint64_t>();
        if (n > UINT32_MAX) {
            return std::nullopt;
        }
        return static_cast<std::uint32_t>(n);
    };
    auto code = field("keyCode");
    auto mods = field("modifiers");
    if (!code || !mods) {
        return std::nullopt;
    }
    return NotesShortcut{*code, *mods};
}

NotesShortcut NotesShortcut::loadStored(const Support::UserDefaults& defaults, const std::string& key,
                                        const NotesShortcut& fallback) {
    auto bytes = defaults.data(key);
    if (!bytes) {
        return fallback;
    }
    auto shortcut = decoded(std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()));
    return shortcut && shortcut->isValid() ? *shortcut : fallback;
}

NotesShortcut NotesShortcut::load(const Support::UserDefaults& defaults) {
    return loadStored(defaults, defaultsKey, defaultShortcut);
}

void NotesShortcut::save(const NotesShortcut& shortcut, Support::UserDefaults& defaults,
                         Support::NotificationCenter& center) {
    defaults.setString(defaultsKey, shortcut.encoded());
    center.post(didChangeNotification);
}

void NotesShortcut::reset(Support::UserDefaults& defaults, Support::NotificationCenter& center) {
    defaults.remove(defaultsKey);
    center.post(didChangeNotification);
}

} // namespace UI

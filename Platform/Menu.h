// A menu as plain values: what the application wants shown, independent of how a platform draws it. The
// menu bar controller builds one; a status item (tray) shows it; the terminal host prints it.
//
// Entries are actions (title, key equivalent, symbol, enabled state, tool-tip, tag and represented object),
// separators, and two custom views: the status header and the footer. An entry marked `isAlternate` is the
// Option-key alternate of the entry before it: platforms that have no Option-key swap show it as an entry
// of its own right after the first.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Platform {

/// Colours the application uses in menus, by role.
enum class MenuColor { label, secondaryLabel, red, orange, blue };

/// The status header: the application's name, a status line, and optionally a duration and a processing
/// line.
struct MenuHeaderView {
    std::string title;
    std::string status;
    MenuColor statusColor = MenuColor::secondaryLabel;
    /// Right-aligned, fixed-width digits ("12:05").
    std::optional<std::string> duration{};
    /// Background work under way, shown after "⟳".
    std::optional<std::string> processing{};
    bool operator==(const MenuHeaderView&) const = default;
};

struct MenuItem {
    enum class Kind { action, separator, header, footer };
    Kind kind = Kind::action;
    std::string title{};
    /// A single character typed with Command ("r", ","); empty for none.
    std::string keyEquivalent{};
    /// A symbol name of the application's icon vocabulary ("record.circle"); empty for none.
    std::string symbolName{};
    bool isEnabled = true;
    std::string toolTip{};
    bool isAlternate = false;
    int tag = 0;
    std::string representedObject{};
    /// What activating the entry does, as the controller names it ("startRecording"); empty: nothing.
    std::string action{};
    std::optional<MenuHeaderView> header{};
    /// The footer's text.
    std::string footerText{};

    static MenuItem separator() {
        MenuItem item;
        item.kind = Kind::separator;
        return item;
    }
    bool operator==(const MenuItem&) const = default;
};

struct Menu {
    std::vector<MenuItem> items;
    bool operator==(const Menu&) const = default;
};

} // namespace Platform

// The application's item in the system's status area (menu bar, tray) with its menu.
//
// The owner sets the icon and the menu; the platform reports the menu opening and closing and the entry the
// user activated, on the main loop. `willOpen` comes before the menu is shown, so that the owner can refresh
// entries (time-dependent labels) with `setMenu` in time.
#pragma once

#include "Platform/Menu.h"
#include "Support/Signal.h"

#include <string>

namespace Platform {

struct StatusIcon {
    /// A symbol name of the application's icon vocabulary ("waveform.circle").
    std::string symbolName;
    /// A template image takes the system's colour; otherwise `tint` is used.
    bool isTemplate = true;
    MenuColor tint = MenuColor::label;
    std::string accessibilityDescription;
    bool operator==(const StatusIcon&) const = default;
};

class StatusItem {
public:
    virtual ~StatusItem() = default;

    virtual void setIcon(const StatusIcon& icon) = 0;
    virtual void setMenu(const Menu& menu) = 0;

    Support::Signal<> willOpen;
    Support::Signal<> didClose;
    /// The activated entry, as it was in the menu last set.
    Support::Signal<const MenuItem&> activated;
};

} // namespace Platform

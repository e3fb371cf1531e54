// The status item of the terminal host: keeps the menu and icon the menu-bar controller sets, so the
// terminal can print the menu on request ("m") and activate its entries by key.
#pragma once

#include "Platform/StatusItem.h"

namespace App {

class TerminalStatusItem final : public Platform::StatusItem {
public:
    void setIcon(const Platform::StatusIcon& icon) override { icon_ = icon; }
    void setMenu(const Platform::Menu& menu) override { menu_ = menu; }

    const Platform::Menu& menu() const { return menu_; }
    const Platform::StatusIcon& icon() const { return icon_; }

private:
    Platform::Menu menu_;
    Platform::StatusIcon icon_;
};

} // namespace App

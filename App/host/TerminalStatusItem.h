// The status item of the host: keeps the menu and icon the menu-bar controller sets, so the terminal can
// print the menu on request ("m"), and mirrors both to the desktop's tray item when there is one. The
// tray's opening, closing and activations come back through this item's own signals, so the controller
// sees one status item whichever shows the menu.
#pragma once

#include "Platform/StatusItem.h"
#include "Support/Signal.h"

#include <memory>

namespace App {

class TerminalStatusItem final : public Platform::StatusItem {
public:
    void setIcon(const Platform::StatusIcon& icon) override {
        icon_ = icon;
        if (tray_) {
            tray_->setIcon(icon);
        }
    }
    void setMenu(const Platform::Menu& menu) override {
        menu_ = menu;
        if (tray_) {
            tray_->setMenu(menu);
        }
    }

    /// Shows the icon and menu in `tray` from now on (the current ones at once).
    void mirrorTo(std::unique_ptr<Platform::StatusItem> tray) {
        trayEvents_.clear();
        tray_ = std::move(tray);
        if (!tray_) {
            return;
        }
        trayEvents_ += tray_->willOpen.connect([this] { willOpen.emit(); });
        trayEvents_ += tray_->didClose.connect([this] { didClose.emit(); });
        trayEvents_ +=
            tray_->activated.connect([this](const Platform::MenuItem& item) { activated.emit(item); });
        tray_->setIcon(icon_);
        tray_->setMenu(menu_);
    }
    bool hasTray() const { return tray_ != nullptr; }

    const Platform::Menu& menu() const { return menu_; }
    const Platform::StatusIcon& icon() const { return icon_; }

private:
    Platform::Menu menu_;
    Platform::StatusIcon icon_;
    std::unique_ptr<Platform::StatusItem> tray_;
    Support::SubscriptionBag trayEvents_;
};

} // namespace App

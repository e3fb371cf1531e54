// A StatusItem for tests: keeps the icon and the menu last set, counts updates, and lets a test open and
// close the menu and activate an entry by title as a user would.
#pragma once

#include "Platform/StatusItem.h"

#include <algorithm>
#include <optional>
#include <string>

namespace Fakes {

class FakeStatusItem : public Platform::StatusItem {
public:
    Platform::StatusIcon icon;
    Platform::Menu menu;
    int menuUpdates = 0;
    int iconUpdates = 0;
    bool isOpen = false;

    void setIcon(const Platform::StatusIcon& i) override {
        icon = i;
        ++iconUpdates;
    }
    void setMenu(const Platform::Menu& m) override {
        menu = m;
        ++menuUpdates;
    }

    void open() {
        isOpen = true;
        willOpen.emit();
    }
    void close() {
        isOpen = false;
        didClose.emit();
    }
    /// The first entry titled `title`, if any.
    std::optional<Platform::MenuItem> item(const std::string& title) const {
        auto it =
            std::find_if(menu.items.begin(), menu.items.end(), [&](auto& i) { return i.title == title; });
        return it == menu.items.end() ? std::nullopt : std::optional(*it);
    }
    /// Activates the first entry titled `title`; false when there is none or it is disabled.
    bool activate(const std::string& title) {
        auto entry = item(title);
        if (!entry || !entry->isEnabled) {
            return false;
        }
        activated.emit(*entry);
        return true;
    }
};

} // namespace Fakes

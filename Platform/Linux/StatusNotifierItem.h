// The tray item of freedesktop desktops: a StatusNotifierItem on the session bus whose menu is exported
// with the com.canonical.dbusmenu interface, over sd-bus, processed on the main loop.
//
// The menu is flat: separators stay separators, the header becomes disabled text lines (status with the
// duration, then the processing line), an Option-key alternate becomes an entry of its own right after its
// entry (trays have no Option key), the footer a disabled line. Symbol names map to freedesktop icon names
// (`iconName`). "AboutToShow" (or an "opened" event) of the root is `willOpen`, a "closed" event `didClose`
// and a "clicked" event `activated`. The item registers with the StatusNotifierWatcher when one runs; without
// one it stays exported and a watcher that appears later finds it by its name.
#pragma once

#include "Platform/StatusItem.h"

#include <memory>
#include <string>

namespace Platform {

class StatusNotifierItem final : public StatusItem {
public:
    /// Connects to the bus at `busAddress` ("unix:path=..."), or to the user's session bus when empty.
    /// Throws std::runtime_error when the bus cannot be reached. Needs a current main loop.
    explicit StatusNotifierItem(const std::string& busAddress = {});
    ~StatusNotifierItem() override;
    StatusNotifierItem(const StatusNotifierItem&) = delete;
    StatusNotifierItem& operator=(const StatusNotifierItem&) = delete;

    void setIcon(const StatusIcon& icon) override;
    void setMenu(const Menu& menu) override;

    /// The well-known name the item owns ("org.kde.StatusNotifierItem-<pid>-1").
    const std::string& busName() const;
    static constexpr const char* itemPath = "/StatusNotifierItem";
    static constexpr const char* menuPath = "/MenuBar";

    /// The freedesktop icon name standing for a symbol name ("record.circle" → "media-record").
    static std::string iconName(const std::string& symbolName);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace Platform

// Runs Qt's event loop inside ours, so that the windows and the rest of the host share the main thread and
// nothing polls. On Linux Qt dispatches through a GLib main context (the default one, on the main thread);
// the bridge owns that context and, on every turn of the main loop, asks GLib what it waits for (its file
// descriptors and its next timeout) and waits for exactly that inside the asio loop. When one of them is
// ready the bridge lets GLib check and dispatch, which delivers Qt's posted events, timers, socket
// notifiers and window-system events. A Qt event posted from another thread writes GLib's wake-up
// descriptor, which the bridge watches, so the main loop wakes at once. With no window open Qt arms no
// timers, so the idle host wakes exactly as often as without Qt.
//
// Used by the desktop shell for as long as it exists. Qt must not run nested event loops (modal `exec()`):
// those would wait inside GLib and starve the main loop; the windows use `open()`/`show()` instead.
// Deferred deletions (`deleteLater`) are delivered after each dispatch, as Qt's own loop would.
#pragma once

#include "Support/MainLoop.h"
#include "Support/MainLoopTurns.h"
#include "Support/Signal.h"

#include <cstdint>
#include <memory>

namespace Desktop {

class QtLoopBridge {
public:
    /// Needs the QGuiApplication (or QCoreApplication) to exist already, on `loop`'s thread.
    explicit QtLoopBridge(Support::MainLoop& loop);
    ~QtLoopBridge();
    QtLoopBridge(const QtLoopBridge&) = delete;
    QtLoopBridge& operator=(const QtLoopBridge&) = delete;

    /// Whether Qt dispatches through GLib here (false when Qt was built without it or QT_NO_GLIB is set:
    /// then Qt events are delivered only by `pump`).
    bool isBridged() const;

    /// How many times GLib was checked and dispatched (an idle bridge adds none).
    std::uint64_t dispatchCount() const;

    /// Delivers whatever Qt has ready now without waiting (tests and start-up).
    static void pump();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace Desktop

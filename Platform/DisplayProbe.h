// Whether Qt can open windows here, asked before Qt is started (Qt ends the process when its platform
// cannot start). An explicit QT_QPA_PLATFORM (offscreen in tests and screenshots) is trusted; otherwise an
// X display must answer ($DISPLAY; on Wayland desktops XWayland provides one). Asked by `vellmora run` before
// it hands over to the windowed program, and by the windows before Qt starts; implemented over Xlib in
// Platform/Linux.
#pragma once

namespace Platform::DisplayProbe {

/// Either of the two below.
bool hasDisplay();
bool explicitPlatform();
bool reachableX11Display();

} // namespace Platform::DisplayProbe

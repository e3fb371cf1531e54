// Whether Qt can open windows here, asked before Qt is started (Qt ends the process when its platform
// cannot start). An explicit QT_QPA_PLATFORM (offscreen in tests and screenshots) is trusted; otherwise an
// X display must answer ($DISPLAY; on Wayland desktops XWayland provides one).
#pragma once

namespace Desktop::DisplayProbe {

bool explicitPlatform();
bool reachableX11Display();

} // namespace Desktop::DisplayProbe

#include "Platform/DisplayProbe.h"

#include <X11/Xlib.h>

#include <cstdlib>

namespace Platform::DisplayProbe {

bool hasDisplay() {
    return explicitPlatform() || reachableX11Display();
}

bool explicitPlatform() {
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    return platform && *platform;
}

bool reachableX11Display() {
    const char* name = std::getenv("DISPLAY");
    if (!name || !*name) {
        return false;
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        return false;
    }
    XCloseDisplay(display);
    return true;
}

} // namespace Platform::DisplayProbe

// The system clipboard, for "copy the setup" of the AI apps page and the command line. The Linux
// implementation is `CommandLineClipboard` (wl-copy on Wayland, xclip or xsel on X11).
#pragma once

#include <string>

namespace Platform {

class Clipboard {
public:
    virtual ~Clipboard() = default;
    /// Puts `text` on the clipboard; false when there is no way to (no tool, no display) or it failed.
    virtual bool setText(const std::string& text) = 0;
};

} // namespace Platform

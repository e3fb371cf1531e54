// Shortcut text ("alt+cmd+n", "⌥⌘N") and stored JSON: parsing never crashes, and a parsed valid shortcut
// survives its display string and its stored form.
#include "UI/recording/NotesShortcut.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    if (auto s = UI::NotesShortcut::parse(text)) {
        if (s->isValid()) {
            auto decoded = UI::NotesShortcut::decoded(s->encoded());
            if (!decoded || !(*decoded == *s)) {
                std::abort();
            }
            (void)s->accessibilityLabel();
            auto shown = UI::NotesShortcut::parse(s->displayString());
            if (shown && shown->isValid() && !(*shown == *s) && s->keySymbol().rfind("Key ", 0) != 0) {
                std::abort();
            }
        }
    }
    (void)UI::NotesShortcut::decoded(text);
    return 0;
}

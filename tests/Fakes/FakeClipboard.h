// A `Platform::Clipboard` that remembers what was copied; `available = false` makes copying fail.
#pragma once

#include "Platform/Clipboard.h"

#include <optional>
#include <string>

namespace Fakes {

class FakeClipboard : public Platform::Clipboard {
public:
    bool setText(const std::string& text) override {
        if (!available) {
            return false;
        }
        contents = text;
        return true;
    }
    bool available = true;
    std::optional<std::string> contents;
};

} // namespace Fakes

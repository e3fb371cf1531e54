#include "UI/recording/MenuTextRenderer.h"

#include "Support/Text.h"

namespace UI::MenuTextRenderer {

namespace {

std::string leftRight(const std::string& left, const std::string& right, std::size_t width) {
    if (right.empty()) {
        return left;
    }
    const std::size_t used = Support::Text::graphemeCount(left) + Support::Text::graphemeCount(right);
    const std::size_t gap = used + 1 < width ? width - used : 1;
    return left + std::string(gap, ' ') + right;
}

std::string keyText(const std::string& key) {
    return key.empty() ? std::string() : "⌘" + Support::Text::uppercased(key);
}

const char* colorName(Platform::MenuColor color) {
    switch (color) {
    case Platform::MenuColor::label:
        return "default";
    case Platform::MenuColor::secondaryLabel:
        return "grey";
    case Platform::MenuColor::red:
        return "red";
    case Platform::MenuColor::orange:
        return "orange";
    case Platform::MenuColor::blue:
        break;
    }
    return "blue";
}

} // namespace

std::string describeIcon(const Platform::StatusIcon& icon) {
    return "[" + icon.symbolName + ", " + (icon.isTemplate ? std::string("template") : colorName(icon.tint)) +
           "]";
}

std::string render(const Platform::Menu& menu, std::size_t width) {
    using Kind = Platform::MenuItem::Kind;
    std::string out;
    std::string rule;
    for (std::size_t i = 0; i < width; ++i) {
        rule += "─";
    }
    for (const auto& item : menu.items) {
        switch (item.kind) {
        case Kind::separator:
            out += rule + "\n";
            break;
        case Kind::header:
            if (item.header) {
                out += leftRight(item.header->title, item.header->duration.value_or(""), width) + "\n";
                out += item.header->status + "\n";
                if (item.header->processing) {
                    out += "⟳ " + *item.header->processing + "\n";
                }
            }
            break;
        case Kind::footer:
            out += item.footerText + "\n";
            break;
        case Kind::action: {
            std::string left = item.isAlternate ? "  ⌥ " + item.title : item.title;
            if (!item.action.empty() && !item.isEnabled) {
                left += " (disabled)";
            }
            out += leftRight(left, keyText(item.keyEquivalent), width) + "\n";
            break;
        }
        }
    }
    return out;
}

} // namespace UI::MenuTextRenderer

#include "UI/updates/AppVersion.h"

#include <algorithm>
#include <charconv>

namespace UI {

std::optional<AppVersion> AppVersion::parse(std::string_view text) {
    std::vector<std::int64_t> components;
    size_t start = 0;
    for (;;) {
        const size_t dot = text.find('.', start);
        const auto piece =
            text.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start);
        if (piece.empty()) {
            return std::nullopt;
        }
        for (char c : piece) {
            if (c < '0' || c > '9') {
                return std::nullopt;
            }
        }
        std::int64_t value = 0;
        auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), value);
        if (error != std::errc() || end != piece.data() + piece.size()) {
            return std::nullopt; // out of range
        }
        components.push_back(value);
        if (dot == std::string_view::npos) {
            break;
        }
        start = dot + 1;
    }
    return AppVersion(std::move(components));
}

bool AppVersion::isNewer(std::string_view candidate, std::string_view current) {
    auto c = parse(candidate);
    auto cur = parse(current);
    return c && cur && *cur < *c;
}

std::string AppVersion::description() const {
    std::string out;
    for (size_t i = 0; i < components_.size(); ++i) {
        if (i > 0) {
            out += '.';
        }
        out += std::to_string(components_[i]);
    }
    return out;
}

std::strong_ordering operator<=>(const AppVersion& a, const AppVersion& b) {
    const size_t n = std::max(a.components_.size(), b.components_.size());
    for (size_t i = 0; i < n; ++i) {
        const std::int64_t x = i < a.components_.size() ? a.components_[i] : 0;
        const std::int64_t y = i < b.components_.size() ? b.components_[i] : 0;
        if (auto order = x <=> y; order != 0) {
            return order;
        }
    }
    return std::strong_ordering::equal;
}

} // namespace UI

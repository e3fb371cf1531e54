// An enumeration's raw names (the strings written in settings, JSON and notifications, which never change)
// declared once as a table, `constexpr Support::EnumName<E> names[] = {{E::a, "a"}, ...}`, from which both
// directions are read. Used by every `rawValue` / `...FromRaw...` pair. Edge cases: a value the table does
// not list (only a cast makes one) is named by the table's first entry; names are matched exactly.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace Support {

template <typename E> using EnumName = std::pair<E, std::string_view>;

template <typename E, std::size_t N>
constexpr std::string_view enumName(const EnumName<E> (&names)[N], E value) {
    for (const auto& [candidate, name] : names) {
        if (candidate == value) {
            return name;
        }
    }
    return names[0].second;
}

template <typename E, std::size_t N>
constexpr std::optional<E> enumValue(const EnumName<E> (&names)[N], std::string_view raw) {
    for (const auto& [value, name] : names) {
        if (name == raw) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace Support

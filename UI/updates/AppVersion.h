// A release version as the store and the bundle write it ("1.10.2"): dot-separated non-negative integers.
//
// Parsing is strict so that a pre-release or a typo is never mistaken for a newer release: "1.2b", "v1.2",
// " 1.2", "1.2." and "1..2" are not versions, nor is a component beyond a signed 64-bit integer. Versions
// compare component by component with the shorter one padded with zeros, so "1.2" equals "1.2.0" and "1.10"
// is greater than "1.9".
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace UI {

class AppVersion {
public:
    /// The version written in `text`, or nothing when it is not one.
    static std::optional<AppVersion> parse(std::string_view text);
    /// True when both parse and `current` < `candidate`; false when either does not parse.
    static bool isNewer(std::string_view candidate, std::string_view current);

    const std::vector<std::int64_t>& components() const { return components_; }
    /// The components joined with "." (as parsed: "1.2.0" stays "1.2.0").
    std::string description() const;

    friend std::strong_ordering operator<=>(const AppVersion& a, const AppVersion& b);
    friend bool operator==(const AppVersion& a, const AppVersion& b) { return (a <=> b) == 0; }

private:
    explicit AppVersion(std::vector<std::int64_t> components) : components_(std::move(components)) {}
    std::vector<std::int64_t> components_;
};

} // namespace UI

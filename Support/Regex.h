// Regular expressions: PCRE2 with UTF and Unicode properties, compiled (and JIT-compiled) once at
// construction, safe to share between threads. Subjects are checked for valid UTF-8 once per call and
// matched without per-match re-checks, so looping over the matches of a large text stays linear; an invalid
// subject still matches (invalid bytes never match a character class) and never crashes.
//
// A bad pattern throws `std::invalid_argument` at construction: patterns are constants of the code, and a
// typo must fail the first test that touches it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Support {

struct RegexMatch {
    /// Byte ranges of the whole match (group 0) and each group; an unset group has `start == npos`.
    struct Range {
        std::size_t start = std::string_view::npos;
        std::size_t end = std::string_view::npos;
        bool isSet() const { return start != std::string_view::npos; }
    };
    std::vector<Range> groups;
    std::string_view subject;

    std::size_t start() const { return groups[0].start; }
    std::size_t end() const { return groups[0].end; }
    std::string_view str(std::size_t group = 0) const {
        const auto& g = groups.at(group);
        return g.isSet() ? subject.substr(g.start, g.end - g.start) : std::string_view();
    }
};

class Regex {
public:
    enum Option : unsigned { none = 0, caseInsensitive = 1, multiline = 2, dotAll = 4, extended = 8 };

    explicit Regex(std::string_view pattern, unsigned options = none);
    ~Regex();
    Regex(Regex&&) noexcept;
    Regex& operator=(Regex&&) noexcept;

    bool matches(std::string_view subject) const;
    /// The first match at or after byte `from`.
    std::optional<RegexMatch> firstMatch(std::string_view subject, std::size_t from = 0) const;
    /// Every non-overlapping match, in order; `visit` returns false to stop early.
    void forEachMatch(std::string_view subject, const std::function<bool(const RegexMatch&)>& visit) const;
    std::vector<RegexMatch> allMatches(std::string_view subject) const;
    /// Every match replaced by `replacement`, in which "$1" or "${1}" is a group and "$$" a dollar.
    std::string replaceAll(std::string_view subject, std::string_view replacement) const;
    /// Every match replaced by what `replace` returns for it.
    std::string replaceAll(std::string_view subject,
                           const std::function<std::string(const RegexMatch&)>& replace) const;

    std::size_t groupCount() const;
    const std::string& pattern() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace Support

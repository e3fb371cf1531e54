// URLs as the link, calendar and HTTP code needs them, over Boost.URL: parsing that gives nothing for text
// that is not a URL, the host lower-cased (Boost keeps the case as given), query items percent-decoded
// (and '+' kept as it is), and a small builder. A Url keeps where each part lies in its text, so reading a
// part never parses again (link search reads several parts of every candidate).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Support {

struct QueryItem {
    std::string name;
    std::optional<std::string> value; // absent for "?flag", empty for "?flag="
    bool operator==(const QueryItem&) const = default;
};

class Url {
public:
    /// An absolute URL with a scheme ("https://zoom.us/j/1", "zoommtg://...", "mailto:a@b"); else nothing.
    static std::optional<Url> parse(std::string_view text);

    /// Lower-cased scheme ("https").
    std::string scheme() const;
    /// Lower-cased host without brackets; empty when there is none.
    std::string host() const;
    std::optional<int> port() const;
    /// Percent-decoded path ("/j/123").
    std::string path() const;
    /// The path as written.
    std::string encodedPath() const;
    /// Path segments, percent-decoded, without empty ones.
    std::vector<std::string> pathSegments() const;
    /// The query as written, without '?' (nothing when there is no '?').
    std::optional<std::string> encodedQuery() const;
    std::vector<QueryItem> queryItems() const;
    /// The decoded value of the first query item named `name` (exact, case-sensitive).
    std::optional<std::string> queryValue(std::string_view name) const;
    std::optional<std::string> fragment() const;
    std::string user() const;

    /// The whole URL as text.
    const std::string& string() const { return text_; }

    Url withScheme(std::string_view scheme) const;
    Url withHost(std::string_view host) const;
    Url withPath(std::string_view decodedPath) const;
    Url withQueryItems(const std::vector<QueryItem>& items) const;
    Url withoutQuery() const;
    Url withoutFragment() const;

    bool operator==(const Url& other) const { return text_ == other.text_; }

private:
    friend struct UrlParts;

    /// Where a part lies in the text; `present` tells "?" (an empty query) from no query at all.
    struct Range {
        std::uint32_t start = 0;
        std::uint32_t length = 0;
        bool present = false;
    };
    /// The parts of a parsed URL, as ranges of its text.
    struct Parts {
        Range scheme;
        Range user;
        Range host; // without brackets for IP literals; present when there is an authority
        Range port;
        Range path;
        Range query;
        Range fragment;
    };

    Url(std::string text, const Parts& parts) : text_(std::move(text)), parts_(parts) {}
    std::string_view part(const Range& range) const {
        return std::string_view(text_).substr(range.start, range.length);
    }
    template <typename Edit> Url edited(Edit edit) const;

    std::string text_;
    Parts parts_;
};

/// Percent-decodes `s` (invalid escapes are kept as written); '+' stays '+'.
std::string percentDecoded(std::string_view s);
/// Percent-encodes everything but unreserved characters (RFC 3986).
std::string percentEncoded(std::string_view s);

} // namespace Support

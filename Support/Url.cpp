#include "Support/Url.h"

#include "Support/Text.h"

#include <boost/url/parse.hpp>
#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>

#include <limits>
#include <stdexcept>

namespace Support {

namespace {

namespace urls = boost::urls;

urls::url_view view(const std::string& text) {
    auto parsed = urls::parse_uri(text);
    if (!parsed) {
        // Every Url was parsed at construction; this cannot happen for a value made by `parse`.
        throw std::logic_error("Support::Url holds text that is not a URL: " + text);
    }
    return *parsed;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

} // namespace

/// Reads where Boost.URL found each part, as ranges of the URL's text.
struct UrlParts {
    static Url::Parts of(const urls::url_view_base& u) {
        const char* base = u.buffer().data();
        auto range = [base](urls::string_view part, bool present) {
            return Url::Range{static_cast<std::uint32_t>(part.data() - base),
                              static_cast<std::uint32_t>(part.size()), present};
        };
        Url::Parts parts;
        parts.scheme = range(u.scheme(), true);
        parts.user = range(u.encoded_user(), u.has_userinfo());
        parts.host = range(u.encoded_host_address(), u.has_authority());
        parts.port = range(u.port(), u.has_port());
        parts.path = range(u.encoded_path(), true);
        parts.query = range(u.encoded_query(), u.has_query());
        parts.fragment = range(u.encoded_fragment(), u.has_fragment());
        // An empty part may point anywhere (even at a static empty string): pin it to the start.
        for (auto* r : {&parts.scheme, &parts.user, &parts.host, &parts.port, &parts.path, &parts.query,
                        &parts.fragment}) {
            if (r->length == 0) {
                r->start = 0;
            }
        }
        return parts;
    }

    /// The new URL's text and parts, without parsing it again.
    static Url from(const urls::url_view_base& u) { return Url(std::string(u.buffer()), of(u)); }
};

std::optional<Url> Url::parse(std::string_view text) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    try {
        auto parsed = urls::parse_uri(urls::string_view(text.data(), text.size()));
        if (!parsed || parsed->scheme().empty()) {
            return std::nullopt;
        }
        // The parts are ranges of `text`, which is the text the Url keeps.
        return Url(std::string(text), UrlParts::of(*parsed));
    } catch (...) {
        return std::nullopt;
    }
}

template <typename Edit> Url Url::edited(Edit edit) const {
    try {
        urls::url u(view(text_));
        edit(u);
        return UrlParts::from(u);
    } catch (const std::exception& e) {
        throw std::invalid_argument(std::string("Cannot build URL from ") + text_ + ": " + e.what());
    }
}

std::string Url::scheme() const {
    return Text::asciiLowercased(part(parts_.scheme));
}

std::string Url::host() const {
    if (!parts_.host.present) {
        return {};
    }
    auto withoutBrackets = [](std::string_view host) {
        return host.size() >= 2 && host.front() == '[' && host.back() == ']' ? host.substr(1, host.size() - 2)
                                                                             : host;
    };
    auto encoded = part(parts_.host);
    if (encoded.find('%') == std::string_view::npos) {
        return Text::lowercased(withoutBrackets(encoded));
    }
    auto decoded = percentDecoded(encoded);
    return Text::lowercased(withoutBrackets(decoded));
}

std::optional<int> Url::port() const {
    auto port = part(parts_.port);
    if (!parts_.port.present || port.empty() || port.size() > 5) {
        return std::nullopt;
    }
    int value = 0;
    for (char c : port) {
        value = value * 10 + (c - '0');
    }
    if (value > 65535) {
        return std::nullopt;
    }
    return value;
}

std::string Url::path() const {
    return percentDecoded(part(parts_.path));
}

std::string Url::encodedPath() const {
    return std::string(part(parts_.path));
}

std::vector<std::string> Url::pathSegments() const {
    std::vector<std::string> segments;
    for (auto segment : view(text_).encoded_segments()) {
        if (!segment.empty()) {
            segments.push_back(percentDecoded(segment));
        }
    }
    return segments;
}

std::optional<std::string> Url::encodedQuery() const {
    if (!parts_.query.present) {
        return std::nullopt;
    }
    return std::string(part(parts_.query));
}

namespace {

/// Calls `visit(name, value)` with the undecoded pieces of `query` split at '&' (a piece without '=' has no
/// value), until it returns false. Empty pieces ("a&&b", a bare "?") are not items.
template <typename Visit> void forEachQueryPiece(std::string_view query, Visit visit) {
    std::size_t start = 0;
    while (start <= query.size()) {
        auto end = query.find('&', start);
        if (end == std::string_view::npos) {
            end = query.size();
        }
        auto piece = query.substr(start, end - start);
        start = end + 1;
        if (piece.empty()) {
            continue;
        }
        auto equals = piece.find('=');
        auto name = piece.substr(0, equals);
        auto value = equals == std::string_view::npos
                         ? std::optional<std::string_view>()
                         : std::optional<std::string_view>(piece.substr(equals + 1));
        if (!visit(name, value)) {
            return;
        }
    }
}

} // namespace

std::vector<QueryItem> Url::queryItems() const {
    // Split by hand rather than through Boost.URL's params view, which crashes on some empty queries
    // ("a:b?#") in Boost 1.81. '+' stays '+' (links put it in ids; it is not form encoding here).
    std::vector<QueryItem> items;
    if (!parts_.query.present) {
        return items;
    }
    forEachQueryPiece(part(parts_.query), [&](std::string_view name, std::optional<std::string_view> value) {
        items.push_back({percentDecoded(name),
                         value ? std::optional<std::string>(percentDecoded(*value)) : std::nullopt});
        return true;
    });
    return items;
}

std::optional<std::string> Url::queryValue(std::string_view name) const {
    std::optional<std::string> found;
    if (!parts_.query.present) {
        return found;
    }
    forEachQueryPiece(
        part(parts_.query), [&](std::string_view encodedName, std::optional<std::string_view> value) {
            bool same = encodedName.find('%') == std::string_view::npos ? encodedName == name
                                                                        : percentDecoded(encodedName) == name;
            if (same) {
                found = value ? percentDecoded(*value) : std::string();
            }
            return !same;
        });
    return found;
}

std::optional<std::string> Url::fragment() const {
    if (!parts_.fragment.present) {
        return std::nullopt;
    }
    return percentDecoded(part(parts_.fragment));
}

std::string Url::user() const {
    return percentDecoded(part(parts_.user));
}

Url Url::withScheme(std::string_view scheme) const {
    return edited([&](urls::url& u) { u.set_scheme(urls::string_view(scheme.data(), scheme.size())); });
}

Url Url::withHost(std::string_view host) const {
    return edited([&](urls::url& u) { u.set_host(urls::string_view(host.data(), host.size())); });
}

Url Url::withPath(std::string_view decodedPath) const {
    return edited([&](urls::url& u) {
        std::vector<std::string> segments;
        for (const auto& segment : Text::split(decodedPath, '/')) {
            segments.push_back(percentEncoded(segment));
        }
        std::string encoded = Text::joined(segments, "/");
        if (!encoded.empty() && encoded.front() != '/' && u.has_authority()) {
            encoded.insert(encoded.begin(), '/');
        }
        u.set_encoded_path(encoded);
    });
}

Url Url::withQueryItems(const std::vector<QueryItem>& items) const {
    // Built by hand so that '+', '&', '=' and spaces in names and values are always percent-encoded.
    std::string query;
    for (const auto& item : items) {
        if (!query.empty()) {
            query.push_back('&');
        }
        query += percentEncoded(item.name);
        if (item.value) {
            query.push_back('=');
            query += percentEncoded(*item.value);
        }
    }
    return edited([&](urls::url& u) {
        if (items.empty()) {
            u.remove_query();
        } else {
            u.set_encoded_query(query);
        }
    });
}

Url Url::withoutQuery() const {
    return edited([](urls::url& u) { u.remove_query(); });
}

Url Url::withoutFragment() const {
    return edited([](urls::url& u) { u.remove_fragment(); });
}

std::string percentDecoded(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    std::size_t done = 0;
    for (auto i = s.find('%'); i != std::string_view::npos; i = s.find('%', i + 1)) {
        if (i + 2 < s.size() && hexValue(s[i + 1]) >= 0 && hexValue(s[i + 2]) >= 0) {
            out.append(s.substr(done, i - done));
            out.push_back(static_cast<char>(hexValue(s[i + 1]) * 16 + hexValue(s[i + 2])));
            i += 2;
            done = i + 1;
        }
    }
    out.append(s.substr(done));
    return out;
}

std::string percentEncoded(std::string_view s) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(s.size());
    for (char ch : s) {
        auto c = static_cast<unsigned char>(ch);
        bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                          c == '-' || c == '.' || c == '_' || c == '~';
        if (unreserved) {
            out.push_back(ch);
        } else {
            out.push_back('%');
            out.push_back(hex[c >> 4]);
            out.push_back(hex[c & 0xF]);
        }
    }
    return out;
}

} // namespace Support

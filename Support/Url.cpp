#include "Support/Url.h"

#include "Support/Text.h"

#include <boost/url/parse.hpp>
#include <boost/url/url.hpp>
#include <boost/url/url_view.hpp>

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

template <typename Edit> std::string edited(const std::string& text, Edit edit) {
    try {
        urls::url u(view(text));
        edit(u);
        return std::string(u.buffer());
    } catch (const std::exception& e) {
        throw std::invalid_argument(std::string("Cannot build URL from ") + text + ": " + e.what());
    }
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

std::optional<Url> Url::parse(std::string_view text) {
    try {
        auto parsed = urls::parse_uri(urls::string_view(text.data(), text.size()));
        if (!parsed || parsed->scheme().empty()) {
            return std::nullopt;
        }
        return Url(std::string(text));
    } catch (...) {
        return std::nullopt;
    }
}

std::string Url::scheme() const {
    return Text::asciiLowercased(view(text_).scheme());
}

std::string Url::host() const {
    auto u = view(text_);
    if (!u.has_authority()) {
        return {};
    }
    std::string host = u.host_address();
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    return Text::lowercased(host);
}

std::optional<int> Url::port() const {
    auto u = view(text_);
    if (!u.has_port() || u.port().empty() || u.port().size() > 5) {
        return std::nullopt;
    }
    int value = 0;
    for (char c : u.port()) {
        value = value * 10 + (c - '0');
    }
    if (value > 65535) {
        return std::nullopt;
    }
    return value;
}

std::string Url::path() const {
    return percentDecoded(view(text_).encoded_path());
}

std::string Url::encodedPath() const {
    return std::string(view(text_).encoded_path());
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
    auto u = view(text_);
    if (!u.has_query()) {
        return std::nullopt;
    }
    return std::string(u.encoded_query());
}

std::vector<QueryItem> Url::queryItems() const {
    // Split by hand rather than through Boost.URL's params view, which crashes on some empty queries
    // ("a:b?#") in Boost 1.81. '+' stays '+' (links put it in ids; it is not form encoding here). Empty
    // pieces ("a&&b", a bare "?") are not items.
    std::vector<QueryItem> items;
    auto query = encodedQuery();
    if (!query) {
        return items;
    }
    for (const auto& piece : Text::split(*query, '&')) {
        if (piece.empty()) {
            continue;
        }
        auto equals = piece.find('=');
        if (equals == std::string::npos) {
            items.push_back({percentDecoded(piece), std::nullopt});
        } else {
            items.push_back(
                {percentDecoded(piece.substr(0, equals)), percentDecoded(piece.substr(equals + 1))});
        }
    }
    return items;
}

std::optional<std::string> Url::queryValue(std::string_view name) const {
    for (auto& item : queryItems()) {
        if (item.name == name) {
            return item.value.value_or(std::string());
        }
    }
    return std::nullopt;
}

std::optional<std::string> Url::fragment() const {
    auto u = view(text_);
    if (!u.has_fragment()) {
        return std::nullopt;
    }
    return percentDecoded(u.encoded_fragment());
}

std::string Url::user() const {
    return percentDecoded(view(text_).encoded_user());
}

Url Url::withScheme(std::string_view scheme) const {
    return Url(
        edited(text_, [&](urls::url& u) { u.set_scheme(urls::string_view(scheme.data(), scheme.size())); }));
}

Url Url::withHost(std::string_view host) const {
    return Url(edited(text_, [&](urls::url& u) { u.set_host(urls::string_view(host.data(), host.size())); }));
}

Url Url::withPath(std::string_view decodedPath) const {
    return Url(edited(text_, [&](urls::url& u) {
        std::vector<std::string> segments;
        for (const auto& segment : Text::split(decodedPath, '/')) {
            segments.push_back(percentEncoded(segment));
        }
        std::string encoded = Text::joined(segments, "/");
        if (!encoded.empty() && encoded.front() != '/' && u.has_authority()) {
            encoded.insert(encoded.begin(), '/');
        }
        u.set_encoded_path(encoded);
    }));
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
    return Url(edited(text_, [&](urls::url& u) {
        if (items.empty()) {
            u.remove_query();
        } else {
            u.set_encoded_query(query);
        }
    }));
}

Url Url::withoutQuery() const {
    return Url(edited(text_, [](urls::url& u) { u.remove_query(); }));
}

Url Url::withoutFragment() const {
    return Url(edited(text_, [](urls::url& u) { u.remove_fragment(); }));
}

std::string percentDecoded(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size() && hexValue(s[i + 1]) >= 0 && hexValue(s[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(s[i + 1]) * 16 + hexValue(s[i + 2])));
            i += 2;
        } else {
            out.push_back(s[i]);
        }
    }
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

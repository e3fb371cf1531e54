// URL parsing of arbitrary text: never throws from parse, every accessor works on what parse accepts and
// reads the same part as Boost.URL does on the same text.
#include "Support/Url.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view s(reinterpret_cast<const char*>(data), size);
    if (Support::percentDecoded(Support::percentEncoded(s)) != s) {
        std::abort();
    }
    auto url = Support::Url::parse(s);
    if (!url) {
        return 0;
    }
    auto u = *boost::urls::parse_uri(url->string());
    if (url->encodedPath() != std::string(u.encoded_path()) ||
        url->encodedQuery() !=
            (u.has_query() ? std::optional<std::string>(u.encoded_query()) : std::nullopt) ||
        url->fragment() != (u.has_fragment() ? std::optional<std::string>(u.fragment()) : std::nullopt) ||
        url->user() != u.user() || url->scheme().size() != u.scheme().size() ||
        url->host().empty() != (!u.has_authority() || u.host_address().empty())) {
        std::abort();
    }
    (void)url->port();
    (void)url->path();
    (void)url->pathSegments();
    auto items = url->queryItems();
    auto rebuilt = url->withQueryItems(items);
    if (rebuilt.queryItems() != items && !items.empty()) {
        std::abort();
    }
    (void)url->withoutQuery().withoutFragment();
    if (!url->host().empty()) {
        (void)url->withPath(url->path());
    }
    return 0;
}

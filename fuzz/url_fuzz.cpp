// URL parsing of arbitrary text: never throws from parse, every accessor works on what parse accepts.
#include "Support/Url.h"

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
    (void)url->scheme();
    (void)url->host();
    (void)url->port();
    (void)url->path();
    (void)url->pathSegments();
    (void)url->encodedQuery();
    (void)url->fragment();
    (void)url->user();
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

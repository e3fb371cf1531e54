// Text helpers on arbitrary bytes: no crash, and the invariants callers rely on.
#include "Support/Text.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view s(reinterpret_cast<const char*>(data), size);
    using namespace Support::Text;
    std::size_t count = graphemeCount(s);
    if (count > s.size()) {
        std::abort();
    }
    std::size_t half = count / 2;
    std::string prefix = graphemePrefix(s, half);
    std::string suffix = graphemeSuffix(s, count - half);
    if (prefix + suffix != s) {
        std::abort();
    }
    std::string clean = sanitizedUTF8(s);
    if (!isValidUTF8(clean) || (isValidUTF8(s) && clean != s)) {
        std::abort();
    }
    std::string t = trimmed(s);
    if (s.find(t) == std::string_view::npos || trimmed(t) != t) {
        std::abort();
    }
    (void)trimmedSpacesOnly(s);
    (void)isBlank(s);
    if (!isValidUTF8(lowercased(s)) || !isValidUTF8(uppercased(s)) || !isValidUTF8(capitalized(s))) {
        std::abort();
    }
    if (!isValidUTF8(searchFolded(s)) || !containsFolded(s, s)) {
        std::abort();
    }
    (void)lines(s);
    return 0;
}

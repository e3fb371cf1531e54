// Regular expressions over arbitrary (often invalid UTF-8) subjects, and arbitrary patterns.
#include "Support/Regex.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view s(reinterpret_cast<const char*>(data), size);
    static const Support::Regex patterns[] = {
        Support::Regex(""), Support::Regex(R"(x*)"), Support::Regex(R"((\w+)@(\w+))"),
        Support::Regex(R"(^.*$)", Support::Regex::multiline), Support::Regex(R"(\b\p{L}+\b)")};
    for (const auto& re : patterns) {
        std::size_t last = 0;
        re.forEachMatch(s, [&](const Support::RegexMatch& m) {
            if (m.start() < last || m.end() > s.size() || m.start() > m.end()) {
                std::abort();
            }
            last = m.end();
            return true;
        });
        (void)re.replaceAll(s, "[$1]");
    }
    // The input as a pattern, matched against itself.
    try {
        Support::Regex re(s.substr(0, 200));
        (void)re.allMatches(s);
    } catch (const std::invalid_argument&) {
    }
    return 0;
}

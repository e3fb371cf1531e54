#include "UI/feedback/DiagnosticRedaction.h"

#include "Support/Regex.h"
#include "Support/Text.h"

namespace UI::DiagnosticRedaction {

namespace {

// The user-name run: anything up to a path separator, white space or a character that delimits paths in
// logs and JSON.
constexpr std::string_view nameRun = R"([^/\s"'`<>()\[\]{}:;,|\\]+)";

const Support::Regex& userPathPattern() {
    static const Support::Regex pattern("/(users|home)/" + std::string(nameRun),
                                        Support::Regex::caseInsensitive);
    return pattern;
}

} // namespace

std::string redactingUserPaths(std::string_view text) {
    return userPathPattern().replaceAll(text, [](const Support::RegexMatch& match) {
        return Support::Text::equalsIgnoringASCIICase(match.str(1), "users")
                   ? std::string("/Users/<redacted>")
                   : std::string("/home/<redacted>");
    });
}

} // namespace UI::DiagnosticRedaction

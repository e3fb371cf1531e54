// Removes user names from file paths in diagnostic text (logs, crash reports) before anything leaves the
// computer. Only the user-name component of a "/Users/<name>" path is replaced; the rest of the path stays.
// The match is case-insensitive and the replacement is always written "/Users/<redacted>". A user name ends
// at the first "/", white space, quote, back-tick, bracket, ":", ";", "," , "|" or backslash, so a name with
// a space is cut at the space. Invalid UTF-8 is kept as it is.
//
// Linux keeps homes under "/home/<name>"; those are redacted the same way, as "/home/<redacted>", since the
// same report leaves the same computer.
#pragma once

#include <string>
#include <string_view>

namespace UI::DiagnosticRedaction {

std::string redactingUserPaths(std::string_view text);

} // namespace UI::DiagnosticRedaction

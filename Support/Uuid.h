// Random (version 4) UUIDs as upper-case text, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
#pragma once

#include <string>
#include <string_view>

namespace Support::Uuid {

std::string generate();
/// True for the 8-4-4-4-12 hex form, either case.
bool isValid(std::string_view text);

} // namespace Support::Uuid

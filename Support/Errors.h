// The one base of errors a user reads: `description()` is the sentence shown (and printed by the command
// line). Operations the system describes as throwing typed errors throw types derived from it.
#pragma once

#include <stdexcept>
#include <string>

namespace Support {

class UserFacingError : public std::runtime_error {
public:
    explicit UserFacingError(const std::string& description) : std::runtime_error(description) {}
    virtual std::string description() const { return what(); }
};

} // namespace Support

// Keeps the computer from idle-sleeping through a due reminder: a systemd-logind "idle" inhibitor lock
// (Inhibit on org.freedesktop.login1), held as the file descriptor logind hands back and released by
// closing it. Taking the lock is asynchronous; a handle that ends before logind answered closes the lock
// as soon as it arrives. Without logind (containers, other init systems) nothing is held and it is logged
// once.
#pragma once

#include "Platform/ActivityAssertion.h"
#include "Support/MainLoop.h"

#include <memory>
#include <optional>
#include <string>

namespace Platform::Linux {

class LogindActivityAssertion final : public Platform::ActivityAssertion {
public:
    /// Uses the system bus, or the bus at `address`.
    explicit LogindActivityAssertion(Support::MainLoop& loop, std::optional<std::string> address = {});
    ~LogindActivityAssertion() override;

    Support::Subscription begin(const std::string& reason) override;

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace Platform::Linux

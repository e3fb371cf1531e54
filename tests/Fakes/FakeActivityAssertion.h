// Records activity assertions for tests: how many are held now and the reasons of all taken.
#pragma once

#include "Platform/ActivityAssertion.h"

#include <memory>
#include <string>
#include <vector>

namespace Fakes {

class FakeActivityAssertion final : public Platform::ActivityAssertion {
public:
    std::vector<std::string> reasons;
    int held() const { return *held_; }

    Support::Subscription begin(const std::string& reason) override {
        reasons.push_back(reason);
        ++*held_;
        return Support::Subscription([held = held_] { --*held; });
    }

private:
    std::shared_ptr<int> held_ = std::make_shared<int>(0);
};

} // namespace Fakes

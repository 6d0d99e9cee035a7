#pragma once

#include "platform/rights/ServiceManagement.h"

#include <functional>
#include <string>
#include <vector>

namespace veltra {

/// Service management that installs nothing, for tests of the code that uses it. For one thread.
class FakeServiceManagement : public ServiceManagement {
  public:
    struct Call {
        std::string domain;
        std::string executableLabel;
        AuthorizationRef authorization;
    };

    /// The outcome of every call.
    Outcome outcome = {.isDone = true};
    /// Called during every call, to simulate what an installation changes elsewhere.
    std::function<void()> onBless;

    [[nodiscard]] const std::vector<Call>& calls() const noexcept { return calls_; }

    [[nodiscard]] Outcome SMJobBless(const std::string& domain, const std::string& executableLabel,
                                     const AuthorizationRef& authorization) override;

  private:
    std::vector<Call> calls_;
};

} // namespace veltra

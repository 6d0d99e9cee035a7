#include "platform/rights/fakes/FakeServiceManagement.h"

namespace veltra {

ServiceManagement::Outcome FakeServiceManagement::SMJobBless(const std::string& domain,
                                                             const std::string& executableLabel,
                                                             const AuthorizationRef& authorization)
{
    calls_.push_back({domain, executableLabel, authorization});
    if (onBless)
        onBless();
    return outcome;
}

} // namespace veltra

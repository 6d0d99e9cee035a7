#pragma once

#include "platform/base/Error.h"
#include "platform/rights/AuthorizationServices.h"

#include <optional>
#include <string>

namespace veltra {

/// The domain of services that the system starts.
inline constexpr const char* kSMDomainSystemLaunchd = "kSMDomainSystemLaunchd";
/// The right that is needed to install a privileged helper.
inline constexpr const char* kSMRightBlessPrivilegedHelper =
    "com.apple.ServiceManagement.blesshelper";

/// Installs privileged helpers.
class ServiceManagement {
  public:
    struct Outcome {
        bool isDone = false;
        std::optional<Error> error = {}; ///< may be empty even after a refusal
    };

    ServiceManagement() = default;
    ServiceManagement(const ServiceManagement&) = delete;
    ServiceManagement& operator=(const ServiceManagement&) = delete;
    virtual ~ServiceManagement() = default;

    /// Installs the executable of that name from the bundle's Contents/Library/LaunchServices, or
    /// replaces the installed one with it, and has the system start it when it is called. Waits
    /// until that is done. May be called from any thread.
    [[nodiscard]] virtual Outcome SMJobBless(const std::string& domain,
                                             const std::string& executableLabel,
                                             const AuthorizationRef& authorization) = 0;
};

} // namespace veltra

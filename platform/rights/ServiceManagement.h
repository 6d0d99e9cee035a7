#pragma once

#include "platform/base/Error.h"
#include "platform/rights/AuthorizationServices.h"

#include <optional>
#include <string>

namespace veltra {

/// The domain of services that the system starts.
inline constexpr const char* kSMDomainSystemLaunchd = "kSMDomainSystemLaunchd";
/// The right that installing a privileged helper takes.
inline constexpr const char* kSMRightBlessPrivilegedHelper =
    "com.apple.ServiceManagement.blesshelper";

/// Installs privileged helpers.
class ServiceManagement {
  public:
    struct Outcome {
        bool isDone = false;
        std::optional<Error> error = {}; ///< may be missing for a refusal too
    };

    ServiceManagement() = default;
    ServiceManagement(const ServiceManagement&) = delete;
    ServiceManagement& operator=(const ServiceManagement&) = delete;
    virtual ~ServiceManagement() = default;

    /// Installs the executable of that name of the bundle's Contents/Library/LaunchServices, or
    /// puts it in the place of the installed one, and has the system start it when it is called.
    /// Waits until it is done. From any thread.
    [[nodiscard]] virtual Outcome SMJobBless(const std::string& domain,
                                             const std::string& executableLabel,
                                             const AuthorizationRef& authorization) = 0;
};

} // namespace veltra

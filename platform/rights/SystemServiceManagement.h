#pragma once

#include "platform/rights/AdminTool.h"
#include "platform/rights/ServiceManagement.h"

#include <utility>

namespace veltra {

/// Installs the helper with the admin tool, which knows where all files belong.
///
/// The only helper is ours, and the only domain is the system's. The right must have been gained
/// with `authorization` before: nobody is asked here.
class SystemServiceManagement : public ServiceManagement {
  public:
    SystemServiceManagement(AuthorizationServices& authorizations, AdminTool tool)
        : authorizations_{authorizations}, tool_{std::move(tool)}
    {
    }

    [[nodiscard]] Outcome SMJobBless(const std::string& domain, const std::string& executableLabel,
                                     const AuthorizationRef& authorization) override;

  private:
    AuthorizationServices& authorizations_;
    AdminTool tool_;
};

/// The service management of this process, which uses the process's authorization services.
[[nodiscard]] ServiceManagement& systemServiceManagement();

} // namespace veltra

#pragma once

#include "platform/rights/AdminTool.h"
#include "platform/rights/ServiceManagement.h"

#include <utility>

namespace veltra {

/// Installs the helper with the admin tool, which knows where everything belongs.
///
/// There is no helper but the one, and no domain but the system's. The right must have been gained
/// with `authorization` before: nothing is asked here.
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

/// The service management of this process, on its authorization services.
[[nodiscard]] ServiceManagement& systemServiceManagement();

} // namespace veltra

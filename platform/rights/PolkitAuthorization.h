#pragma once

#include "platform/rights/AdminTool.h"
#include "platform/rights/AuthorizationServices.h"
#include "platform/rights/ExternalFormRegistry.h"
#include "platform/rights/PolkitAuthority.h"

#include <mutex>
#include <optional>
#include <string>

namespace veltra {

/// The authorization services based on polkit, which represents a right as an action.
///
/// An action's id is its right's name with '-' for every ':'. The name itself and the definition,
/// in JSON, are in the action's annotations "com.veltra.right.name" and
/// "com.veltra.right.definition"; a definition that is not valid JSON is read as null. A process
/// keeps what it has gained for as long as the action says. Rights are written by the admin tool,
/// which knows only the rights of this system.
///
/// An authorization represents a process. An authorization that was made from an external form has
/// no external form itself.
class PolkitAuthorization : public AuthorizationServices {
  public:
    explicit PolkitAuthorization(AdminTool tool) : tool_{std::move(tool)} {}

    [[nodiscard]] SecOutcome<AuthorizationRef>
    AuthorizationCreate(const AuthorizationItemSet* rights, const AuthorizationItemSet* environment,
                        AuthorizationFlags flags) override;
    [[nodiscard]] SecOutcome<std::optional<AuthorizationExternalForm>>
    AuthorizationMakeExternalForm(const AuthorizationRef& authorization) override;
    [[nodiscard]] SecOutcome<AuthorizationRef>
    AuthorizationCreateFromExternalForm(const AuthorizationExternalForm& form) override;
    [[nodiscard]] OSStatus AuthorizationCopyRights(const AuthorizationRef& authorization,
                                                   const AuthorizationItemSet& rights,
                                                   const AuthorizationItemSet* environment,
                                                   AuthorizationFlags flags) override;
    [[nodiscard]] SecOutcome<std::optional<RightDefinition>>
    AuthorizationRightGet(const std::string& name) override;
    [[nodiscard]] OSStatus AuthorizationRightSet(const AuthorizationRef& authorization,
                                                 const std::string& name,
                                                 const RightDefinition& definition,
                                                 const std::string& description) override;
    [[nodiscard]] std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const override;

  private:
    using Interaction = PolkitAuthority::Interaction;

    [[nodiscard]] OSStatus gain(const std::optional<RegisteredProcess>& process,
                                const AuthorizationItemSet& rights, Interaction interaction);
    [[nodiscard]] OSStatus write(AdminTool::Verb verb);

    AdminTool tool_;
    ExternalFormRegistry forms_;
    std::mutex prompt_; // held while a dialog may be open: two at once confuse
};

/// The authorization services of this process.
[[nodiscard]] AuthorizationServices& systemAuthorization();

} // namespace veltra

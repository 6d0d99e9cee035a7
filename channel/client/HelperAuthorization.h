#pragma once

#include "channel/protocol/HelperAuthorizationRight.h"
#include "platform/rights/AuthorizationServices.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// Everything about the rights that guard the helper's commands: registering them, making the
/// external form for each command, and checking it.
///
/// There is no state. Every function may be called from any thread, and failures are thrown as
/// HelperAuthorizationError. A status of the services is thrown as its text, like "Optional(The
/// authorization was denied)", or as "nil" if it has none. `services` are the system's own unless
/// given.
class HelperAuthorization {
  public:
    using Data = std::vector<std::uint8_t>;

    HelperAuthorization() = delete;

    /// The rights, in the order in which they are registered. Never changes.
    [[nodiscard]] static const std::vector<HelperAuthorizationRight>& authorizationRights();

    /// The first right for a command; null if no right guards it.
    [[nodiscard]] static const HelperAuthorizationRight*
    authorizationRight(const Selector& forCommand);

    /// Registers the rights that are missing or stored in another version. May prompt. A right that
    /// cannot be registered is logged and skipped.
    static void authorizationRightsUpdateDatabase(AuthorizationServices& services);
    /// The same for other rights than the helper's.
    static void
    authorizationRightsUpdateDatabase(const std::vector<HelperAuthorizationRight>& rights,
                                      AuthorizationServices& services);

    /// Whether a right must be written, given how it is stored now. For a custom rule, only the
    /// version matters.
    [[nodiscard]] static bool
    authorizationRuleUpdateRequired(const std::optional<RightDefinition>& current,
                                    const HelperAuthorizationRight& authorizationRight);

    /// An authorization without any rights. May be null.
    [[nodiscard]] static AuthorizationRef emptyAuthorizationRef(AuthorizationServices& services);

    /// An authorization; see AuthorizationServices. May be null, and may prompt.
    [[nodiscard]] static AuthorizationRef authorizationRef(const AuthorizationItemSet* rights,
                                                           const AuthorizationItemSet* environment,
                                                           AuthorizationFlags flags,
                                                           AuthorizationServices& services);

    /// The authorization that an external form represents: 32 bytes; if `data` is shorter, the
    /// missing bytes are zero. May be null.
    [[nodiscard]] static AuthorizationRef authorizationRef(const Data& fromExternalForm,
                                                           AuthorizationServices& services);

    /// The external form of a new authorization without rights.
    [[nodiscard]] static std::optional<AuthorizationExternalForm>
    emptyAuthorizationExternalForm(AuthorizationServices& services);
    [[nodiscard]] static std::optional<Data>
    emptyAuthorizationExternalFormData(AuthorizationServices& services);

    /// Returns if the authorization behind an external form has, or gains, the right for a command.
    /// May prompt. Not used by the program itself; part of the interface.
    static void verifyAuthorization(const std::optional<Data>& authData, const Selector& forCommand,
                                    AuthorizationServices& services);
    static void verifyAuthorization(const AuthorizationRef& reference,
                                    const HelperAuthorizationRight& forAuthenticationRight,
                                    AuthorizationServices& services);
};

} // namespace veltra

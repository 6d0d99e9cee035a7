#pragma once

#include "platform/base/OSStatus.h"
#include "platform/base/RightDefinition.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace veltra {

/// The statuses that the authorization services answer with.
enum AuthorizationStatus : OSStatus {
    errAuthorizationSuccess = 0,
    errAuthorizationInvalidRef = -60002,
    /// The right was not granted; of AuthorizationRightGet: there is no such right.
    errAuthorizationDenied = -60005,
    /// The user dismissed the prompt.
    errAuthorizationCanceled = -60006,
    /// The user would have to be asked, and may not or cannot be.
    errAuthorizationInteractionNotAllowed = -60007,
    /// The services cannot be reached, do not answer, or failed.
    errAuthorizationInternal = -60008,
};

using AuthorizationFlags = std::uint32_t;
inline constexpr AuthorizationFlags kAuthorizationFlagDefaults = 0;
inline constexpr AuthorizationFlags kAuthorizationFlagInteractionAllowed = 1;
inline constexpr AuthorizationFlags kAuthorizationFlagExtendRights = 2;
inline constexpr AuthorizationFlags kAuthorizationFlagPreAuthorize = 16;

/// One right that is asked for, or one fact of the environment.
struct AuthorizationItem {
    std::string name;
    std::vector<std::uint8_t> value = {};
    std::uint32_t flags = 0;
};

using AuthorizationItemSet = std::vector<AuthorizationItem>;

/// An authorization as the services that gave it out know it.
class Authorization {
  public:
    Authorization() = default;
    Authorization(const Authorization&) = delete;
    Authorization& operator=(const Authorization&) = delete;
    virtual ~Authorization() = default;
};

using AuthorizationRef = std::shared_ptr<const Authorization>;

/// Stands for an authorization in other processes. Nobody can guess it.
using AuthorizationExternalForm = std::array<std::uint8_t, 32>;

/// Authorizations and the database of rights.
///
/// All functions may be called from any thread. One that may prompt the user waits for the answer,
/// however long that takes; every other gives up after some seconds at most. An authorization is
/// good only for the services that gave it out, and its external form for as long as the process
/// lives that made it.
class AuthorizationServices {
  public:
    AuthorizationServices() = default;
    AuthorizationServices(const AuthorizationServices&) = delete;
    AuthorizationServices& operator=(const AuthorizationServices&) = delete;
    virtual ~AuthorizationServices() = default;

    /// A new authorization of this process. With rights and kAuthorizationFlagPreAuthorize they
    /// are gained at once, or the call fails; the user is asked only with
    /// kAuthorizationFlagInteractionAllowed. `rights` and `environment` may be null.
    [[nodiscard]] virtual SecOutcome<AuthorizationRef>
    AuthorizationCreate(const AuthorizationItemSet* rights, const AuthorizationItemSet* environment,
                        AuthorizationFlags flags) = 0;

    [[nodiscard]] virtual SecOutcome<std::optional<AuthorizationExternalForm>>
    AuthorizationMakeExternalForm(const AuthorizationRef& authorization) = 0;

    /// The authorization that an external form stands for, of this process or of another one of
    /// this user's, or of anybody's where root asks.
    [[nodiscard]] virtual SecOutcome<AuthorizationRef>
    AuthorizationCreateFromExternalForm(const AuthorizationExternalForm& form) = 0;

    /// Success when the authorization's process has, or with kAuthorizationFlagExtendRights
    /// gains, every one of the rights.
    [[nodiscard]] virtual OSStatus AuthorizationCopyRights(const AuthorizationRef& authorization,
                                                           const AuthorizationItemSet& rights,
                                                           const AuthorizationItemSet* environment,
                                                           AuthorizationFlags flags) = 0;

    /// The stored definition of a right; errAuthorizationDenied when there is no such right.
    [[nodiscard]] virtual SecOutcome<std::optional<RightDefinition>>
    AuthorizationRightGet(const std::string& name) = 0;

    /// Stores a right's definition and the text of its prompt. Adding one asks nothing of an
    /// active local user; changing one asks for an administrator.
    [[nodiscard]] virtual OSStatus AuthorizationRightSet(const AuthorizationRef& authorization,
                                                         const std::string& name,
                                                         const RightDefinition& definition,
                                                         const std::string& description) = 0;

    /// The words for a status, success included; none when there are no words for it.
    [[nodiscard]] virtual std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const = 0;
};

} // namespace veltra

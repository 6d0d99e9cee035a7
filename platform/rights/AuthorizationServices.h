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

/// The statuses of the authorization services.
enum AuthorizationStatus : OSStatus {
    errAuthorizationSuccess = 0,
    errAuthorizationInvalidRef = -60002,
    /// The right was not granted; from AuthorizationRightGet: there is no such right.
    errAuthorizationDenied = -60005,
    /// The user dismissed the prompt.
    errAuthorizationCanceled = -60006,
    /// The user would have to be asked, but may not or cannot be.
    errAuthorizationInteractionNotAllowed = -60007,
    /// The services cannot be reached, do not answer, or failed.
    errAuthorizationInternal = -60008,
};

using AuthorizationFlags = std::uint32_t;
inline constexpr AuthorizationFlags kAuthorizationFlagDefaults = 0;
inline constexpr AuthorizationFlags kAuthorizationFlagInteractionAllowed = 1;
inline constexpr AuthorizationFlags kAuthorizationFlagExtendRights = 2;
inline constexpr AuthorizationFlags kAuthorizationFlagPreAuthorize = 16;

/// A requested right, or a fact about the environment.
struct AuthorizationItem {
    std::string name;
    std::vector<std::uint8_t> value = {};
    std::uint32_t flags = 0;
};

using AuthorizationItemSet = std::vector<AuthorizationItem>;

/// An authorization, as an object of the services that created it.
class Authorization {
  public:
    Authorization() = default;
    Authorization(const Authorization&) = delete;
    Authorization& operator=(const Authorization&) = delete;
    virtual ~Authorization() = default;
};

using AuthorizationRef = std::shared_ptr<const Authorization>;

/// Represents an authorization in other processes. It cannot be guessed.
using AuthorizationExternalForm = std::array<std::uint8_t, 32>;

/// Authorizations and the database of rights.
///
/// All functions may be called from any thread. Functions that may prompt the user wait for the
/// answer, however long that takes; the others give up after some seconds at most. An authorization
/// is valid only for the services that created it; its external form is valid for as long as the
/// process that made it lives.
class AuthorizationServices {
  public:
    AuthorizationServices() = default;
    AuthorizationServices(const AuthorizationServices&) = delete;
    AuthorizationServices& operator=(const AuthorizationServices&) = delete;
    virtual ~AuthorizationServices() = default;

    /// Creates an authorization for this process. With rights and kAuthorizationFlagPreAuthorize,
    /// the rights are gained at once, or the call fails; the user is asked only with
    /// kAuthorizationFlagInteractionAllowed. `rights` and `environment` may be null.
    [[nodiscard]] virtual SecOutcome<AuthorizationRef>
    AuthorizationCreate(const AuthorizationItemSet* rights, const AuthorizationItemSet* environment,
                        AuthorizationFlags flags) = 0;

    [[nodiscard]] virtual SecOutcome<std::optional<AuthorizationExternalForm>>
    AuthorizationMakeExternalForm(const AuthorizationRef& authorization) = 0;

    /// The authorization that an external form represents: of this process or of another process of
    /// this user, or of any process if root asks.
    [[nodiscard]] virtual SecOutcome<AuthorizationRef>
    AuthorizationCreateFromExternalForm(const AuthorizationExternalForm& form) = 0;

    /// Succeeds if the authorization's process has every one of the rights or, with
    /// kAuthorizationFlagExtendRights, gains it.
    [[nodiscard]] virtual OSStatus AuthorizationCopyRights(const AuthorizationRef& authorization,
                                                           const AuthorizationItemSet& rights,
                                                           const AuthorizationItemSet* environment,
                                                           AuthorizationFlags flags) = 0;

    /// The stored definition of a right; errAuthorizationDenied if there is no such right.
    [[nodiscard]] virtual SecOutcome<std::optional<RightDefinition>>
    AuthorizationRightGet(const std::string& name) = 0;

    /// Stores a right's definition and the text of its prompt. Adding a right asks an active local
    /// user for nothing; changing one asks for an administrator.
    [[nodiscard]] virtual OSStatus AuthorizationRightSet(const AuthorizationRef& authorization,
                                                         const std::string& name,
                                                         const RightDefinition& definition,
                                                         const std::string& description) = 0;

    /// The text for a status, including success; empty if there is none.
    [[nodiscard]] virtual std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const = 0;
};

} // namespace veltra

#pragma once

#include "platform/base/Error.h"
#include "platform/rights/AuthorizationServices.h"
#include "platform/rights/RegisteredProcess.h"

#include <atomic>
#include <optional>

namespace veltra {

/// Where processes register the external forms that represent them.
///
/// A form is 32 random bytes. Each has a file that identifies the process. The file is named after
/// the form's SHA-256 digest, so that the form itself is not stored anywhere. It is in
/// /run/user/UID/veltra-auth, or in /dev/shm/veltra-auth-UID if that folder does not exist. Only
/// the user and root can read it. The environment does not influence the location.
///
/// All functions may be called from any thread.
class ExternalFormRegistry {
  public:
    ExternalFormRegistry() = default;
    ExternalFormRegistry(const ExternalFormRegistry&) = delete;
    ExternalFormRegistry& operator=(const ExternalFormRegistry&) = delete;

    /// Removes what this process registered here.
    ~ExternalFormRegistry();

    /// Creates a form that represents this process for as long as it lives. The first call removes
    /// files of processes that have ended.
    [[nodiscard]] Result<AuthorizationExternalForm> add();

    /// The living process that a form represents: one of this user or, for root, of any user. Empty
    /// for a form that was not made by add() in a process of the folder's user.
    [[nodiscard]] static std::optional<RegisteredProcess>
    find(const AuthorizationExternalForm& form);

  private:
    std::atomic_flag isUsed_;
};

} // namespace veltra

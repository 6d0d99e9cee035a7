#pragma once

#include "platform/base/Error.h"
#include "platform/rights/AuthorizationServices.h"
#include "platform/rights/RegisteredProcess.h"

#include <atomic>
#include <optional>

namespace veltra {

/// Where processes say which external forms stand for them.
///
/// A form is 32 random bytes. It has a file, named after its SHA-256 digest so that the form
/// itself stands nowhere, which names the process: in /run/user/UID/veltra-auth, or in
/// /dev/shm/veltra-auth-UID where there is no such folder. The user alone, and root, can read it.
/// The environment has no say in where that is.
///
/// All functions may be called from any thread.
class ExternalFormRegistry {
  public:
    ExternalFormRegistry() = default;
    ExternalFormRegistry(const ExternalFormRegistry&) = delete;
    ExternalFormRegistry& operator=(const ExternalFormRegistry&) = delete;

    /// Takes back what this process registered here.
    ~ExternalFormRegistry();

    /// Makes a form that stands for this process for as long as it lives. The first time, files of
    /// processes that have ended are removed.
    [[nodiscard]] Result<AuthorizationExternalForm> add();

    /// The living process that a form stands for, one of this user's, or of anybody's for root.
    /// None for every form that was not made by add() of a process of the folder's own user.
    [[nodiscard]] static std::optional<RegisteredProcess>
    find(const AuthorizationExternalForm& form);

  private:
    std::atomic_flag isUsed_;
};

} // namespace veltra

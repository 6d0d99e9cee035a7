#pragma once

#include "platform/base/PidFd.h"

#include <cstdint>
#include <optional>

#include <sys/types.h>

namespace veltra {

/// A registered process that was looked up and pinned: until isAlive() has returned false, its
/// number refers to this process.
class RegisteredProcess {
  public:
    /// Finds the process that was started at that time (see processStartTime) and whose user ids
    /// are all that user. Empty if it has ended or runs as another user.
    [[nodiscard]] static std::optional<RegisteredProcess> find(pid_t process,
                                                               std::uint64_t startTime, uid_t user);

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }
    [[nodiscard]] std::uint64_t startTime() const noexcept { return startTime_; }
    [[nodiscard]] uid_t user() const noexcept { return user_; }
    [[nodiscard]] bool isAlive() const noexcept { return process_.isAlive(); }

  private:
    RegisteredProcess(PidFd descriptor, pid_t process, std::uint64_t startTime,
                      uid_t user) noexcept;

    PidFd process_;
    pid_t pid_;
    std::uint64_t startTime_;
    uid_t user_;
};

} // namespace veltra

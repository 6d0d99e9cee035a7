#pragma once

#include "platform/base/Fd.h"

#include <cstdint>
#include <optional>

#include <sys/types.h>

namespace veltra {

/// A process that somebody named, looked up and held fast: its number means no other process for
/// as long as isAlive() has not said that it is gone. See pidfd_open(2).
class RegisteredProcess {
  public:
    /// Finds the process that was started at that time (see processStartTime) and runs as that
    /// user and nobody else. None when it has ended or is another user's.
    [[nodiscard]] static std::optional<RegisteredProcess> find(pid_t process,
                                                               std::uint64_t startTime, uid_t user);

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }
    [[nodiscard]] std::uint64_t startTime() const noexcept { return startTime_; }
    [[nodiscard]] uid_t user() const noexcept { return user_; }
    [[nodiscard]] bool isAlive() const;

  private:
    RegisteredProcess(Fd pidfd, pid_t process, std::uint64_t startTime, uid_t user) noexcept;

    Fd pidfd_;
    pid_t pid_;
    std::uint64_t startTime_;
    uid_t user_;
};

} // namespace veltra

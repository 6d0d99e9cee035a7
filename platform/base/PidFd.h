#pragma once

#include "platform/base/Fd.h"

#include <chrono>
#include <utility>

#include <sys/types.h>

namespace veltra {

/// Stands for one process for as long as it lives, whoever gets its number afterwards. Move-only;
/// empty when the process could not be opened. See pidfd_open(2).
class [[nodiscard]] PidFd {
  public:
    PidFd() noexcept = default;

    /// Takes over a pidfd that somebody else opened.
    explicit PidFd(Fd descriptor) noexcept : descriptor_{std::move(descriptor)} {}

    /// Opens a process, anybody's. Empty when there is none of that number, or no descriptor left:
    /// errno tells which.
    static PidFd open(pid_t process) noexcept;

    [[nodiscard]] explicit operator bool() const noexcept { return static_cast<bool>(descriptor_); }

    /// Readable from the end of the process on.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// Whether this stands for the process of that number.
    [[nodiscard]] bool isOf(pid_t process) const;

    [[nodiscard]] bool isAlive() const noexcept { return isAliveAfter({}); }

    /// Whether it still lives when that time is over. Returns at once when it ends.
    [[nodiscard]] bool isAliveAfter(std::chrono::milliseconds time) const noexcept;

    /// Sends a signal; one that has ended gets none.
    void signal(int number) const noexcept;

  private:
    Fd descriptor_;
};

} // namespace veltra

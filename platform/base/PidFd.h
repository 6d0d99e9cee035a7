#pragma once

#include "platform/base/Fd.h"

#include <chrono>
#include <utility>

#include <sys/types.h>

namespace veltra {

/// Refers to one process, even after the process has ended and its number is reused. Move-only;
/// empty if the process could not be opened. See pidfd_open(2).
class [[nodiscard]] PidFd {
  public:
    PidFd() noexcept = default;

    /// Takes ownership of a pidfd.
    explicit PidFd(Fd descriptor) noexcept : descriptor_{std::move(descriptor)} {}

    /// Opens a process of any user. Empty if there is no process with that number or no descriptor
    /// is left; errno tells which.
    static PidFd open(pid_t process) noexcept;

    [[nodiscard]] explicit operator bool() const noexcept { return static_cast<bool>(descriptor_); }

    /// Becomes readable when the process ends, and stays so.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// Whether this refers to the process with that number.
    [[nodiscard]] bool isOf(pid_t process) const;

    [[nodiscard]] bool isAlive() const noexcept { return isAliveAfter({}); }

    /// Whether the process is still alive after that time. Returns at once if it ends earlier.
    [[nodiscard]] bool isAliveAfter(std::chrono::milliseconds time) const noexcept;

    /// Sends a signal; does nothing if the process has ended.
    void signal(int number) const noexcept;

  private:
    Fd descriptor_;
};

} // namespace veltra

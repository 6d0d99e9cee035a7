#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace veltra {

/// The status file of a process or a thread as it was when this was made; see proc(5).
class ProcessStatus {
  public:
    /// Reads /proc/PID/status or its like. Knows no names when that cannot be read.
    explicit ProcessStatus(const std::string& path);

    /// What stands behind a name, up to the end of the line; empty when it is not there.
    [[nodiscard]] std::string_view operator[](std::string_view name) const;

  private:
    std::string text_;
};

/// When a process was started, in the kernel's ticks since the boot: with its number this tells it
/// from every other process since. None when there is no such process.
[[nodiscard]] std::optional<std::uint64_t> processStartTime(pid_t process);

} // namespace veltra

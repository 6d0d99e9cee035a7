#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace veltra {

/// The status file of a process or thread, as it was when this object was made; see proc(5).
class ProcessStatus {
  public:
    /// Reads /proc/PID/status or a file of that format. Contains no names if that cannot be read.
    explicit ProcessStatus(const std::string& path);

    /// The text after a name, up to the end of the line; empty if the name is not there.
    [[nodiscard]] std::string_view operator[](std::string_view name) const;

  private:
    std::string text_;
};

/// When a process was started, in the kernel's clock ticks since boot. Together with its number
/// this identifies the process among all that ran since boot. Empty if there is no such process.
[[nodiscard]] std::optional<std::uint64_t> processStartTime(pid_t process);

} // namespace veltra

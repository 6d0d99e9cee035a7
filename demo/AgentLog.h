#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <optional>
#include <string>
#include <string_view>

namespace veltra {

/// The log file that the stand-in agent writes: vxsvc_<UTC yyyymmdd_hhmmss>.log in its log folder.
///
/// Move-only, one thread.
class AgentLog {
  public:
    /// Starts a new file in `folder`, which must exist and end with a slash.
    [[nodiscard]] static Result<AgentLog> create(std::string folder);

    /// Opens the log in `folder` that was written last, or starts a new one if there is none.
    [[nodiscard]] static Result<AgentLog> resume(std::string folder);

    /// The file's name without its folder.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    /// Whether nothing has been written to the file yet.
    [[nodiscard]] bool isEmpty() const;

    /// Appends the whole line with one write(2), so that a reader sees all of it or nothing.
    [[nodiscard]] Result<> write(std::string_view line);

    /// Leaves the file as it is and continues in a new one. Its name differs from all others in the
    /// folder, however quickly rotations follow each other. On failure the old file stays in use.
    [[nodiscard]] Result<> rotate();

    /// Truncates the file to zero bytes and continues in it.
    [[nodiscard]] Result<> truncate();

  private:
    AgentLog(std::string folder, std::string name, Fd file)
        : folder_{std::move(folder)}, name_{std::move(name)}, file_{std::move(file)}
    {
    }

    std::string folder_;
    std::string name_;
    Fd file_;
};

} // namespace veltra

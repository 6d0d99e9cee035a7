#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace veltra {

/// Paths in /proc; see proc(5).
[[nodiscard]] inline std::string procPath(std::string_view process, std::string_view name)
{
    return std::string{"/proc/"}.append(process).append("/").append(name);
}

[[nodiscard]] inline std::string procPath(pid_t process, std::string_view name)
{
    return procPath(std::to_string(process), name);
}

/// The path through which this process's descriptor can be opened or linked again.
[[nodiscard]] inline std::string descriptorPath(int descriptor)
{
    return procPath("self", "fd/" + std::to_string(descriptor));
}

/// The path of this process's executable.
[[nodiscard]] inline std::string ownExecutablePath()
{
    return procPath("self", "exe");
}

} // namespace veltra

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veltra {

/// The shell command line that prints the process ids of the agent service, one per line, while it
/// runs. It must not be changed in any way.
inline constexpr const char* agentProcessQuery =
    "ps -a -w -w -U root -o \"pid\" -o \"command\" | grep -i  "
    "\"/Library/Veltra/agent/bin/vxsvc\" | grep -v grep | awk '{print $1}'";

/// The standard output of `command`, a shell command line, not trimmed. Blocks until the command
/// has closed its output and ended; its exit status is ignored.
///
/// Output is handled as lines of text: anything after a NUL byte in a line is lost. If no pipe can
/// be created or reading fails, that is logged and the result is empty. See popen(3).
[[nodiscard]] std::string exec(const char* command);

/// The process id at the start of a query's output, after any white space. -1 if there is only
/// white space, 0 if there is something that is not a number.
[[nodiscard]] std::int32_t firstPidIn(const std::string& answer);

/// Whether the command line of process `pid` contains `text`, ignoring case; false if there is no
/// such process. True if the kernel does not let us read the command line, because then it is
/// unknown. See proc(5).
[[nodiscard]] bool commandLineHolds(std::int32_t pid, std::string_view text);

} // namespace veltra

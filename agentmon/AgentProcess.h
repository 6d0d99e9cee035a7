#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veltra {

/// The shell command line that prints the process ids of the agent service, one a line, as long
/// as it runs. Used letter for letter.
inline constexpr const char* agentProcessQuery =
    "ps -a -w -w -U root -o \"pid\" -o \"command\" | grep -i  "
    "\"/Library/Veltra/agent/bin/vxsvc\" | grep -v grep | awk '{print $1}'";

/// What `command`, a shell command line, prints to its standard output, untrimmed. Blocks until
/// the command has closed it and ended; its exit status is of no account.
///
/// Output is taken as lines of text: what stands behind a NUL byte of a line is lost. When there
/// is no pipe to be had or reading fails, that is logged and the answer is empty. See popen(3).
[[nodiscard]] std::string exec(const char* command);

/// The process id that a query's answer begins with, white space passed over. -1 when there is
/// nothing but white space, 0 when there is something that is no number.
[[nodiscard]] std::int32_t firstPidIn(const std::string& answer);

/// Whether the command line of process `pid` holds `text`, in capitals or not; false when there
/// is no such process. True when the kernel keeps the command line from us, since then it cannot
/// be told. See proc(5).
[[nodiscard]] bool commandLineHolds(std::int32_t pid, std::string_view text);

} // namespace veltra

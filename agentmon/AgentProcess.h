#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace veltra {

/// The shell command line that prints the process ids of the agent service, one per line, while it
/// runs. It must not be changed in any way.
inline constexpr const char* agentProcessQuery =
    "ps -a -w -w -U root -o \"pid\" -o \"command\" | grep -i  "
    "\"/Library/Veltra/agent/bin/vxsvc\" | grep -v grep | awk '{print $1}'";

/// The standard output of `command`, a shell command line, not trimmed. Blocks until the command
/// has closed its output and ended; its exit status is ignored.
///
/// Nothing if that takes longer than `timeLimit`, which is logged, or if `stop` is requested
/// meanwhile. The processes of the command are then ended.
///
/// Output is handled as lines of text: anything after a NUL byte in a line is lost. If the command
/// cannot be run or reading fails, that is logged and the result is empty. Any thread.
[[nodiscard]] std::optional<std::string>
exec(const char* command, std::chrono::milliseconds timeLimit = std::chrono::seconds{2},
     const std::stop_token& stop = {});

/// The first process id in a query's output that `counts`. -1 if none does, 0 if there is something
/// that is not a number before it.
[[nodiscard]] std::int32_t firstPidIn(const std::string& answer,
                                      const std::function<bool(std::int32_t)>& counts);

/// Whether the real user of process `pid` is `user`; false if there is no such process.
[[nodiscard]] bool isOwnedBy(std::int32_t pid, uid_t user);

/// Whether the command line of process `pid` contains `text`, ignoring case; false if there is no
/// such process. True if the kernel does not let us read the command line, because then it is
/// unknown. See proc(5).
[[nodiscard]] bool commandLineHolds(std::int32_t pid, std::string_view text);

} // namespace veltra

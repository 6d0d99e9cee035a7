#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// A part of a file that a process has mapped as executable.
struct ProcessMapping {
    std::string path; ///< in the process's mount namespace; " (deleted)" may follow
    ino_t inode = 0;
    bool isWrittenTo = false; ///< some page of it no longer is the file's

    friend bool operator==(const ProcessMapping&, const ProcessMapping&) = default;
};

/// The executable file mappings of process `pid`; empty if they cannot be read. Memory that belongs
/// to no file, for example code compiled at run time, is left out. See /proc/PID/smaps in proc(5).
[[nodiscard]] std::vector<ProcessMapping> executableFileMappings(pid_t pid);

/// The same for a text in the format of /proc/PID/smaps.
[[nodiscard]] std::vector<ProcessMapping> executableFileMappings(std::string_view smaps);

} // namespace veltra

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// A part of a file that a process has in memory to be executed.
struct ProcessMapping {
    std::string path; ///< as the process's mount namespace has it; " (deleted)" may stand behind
    ino_t inode = 0;
    bool isWrittenTo = false; ///< some page of it is not the file's any more

    friend bool operator==(const ProcessMapping&, const ProcessMapping&) = default;
};

/// The executable file mappings of process `pid`; none when they cannot be read. Memory that
/// belongs to no file, of compilers in the process say, is left out. See /proc/PID/smaps in
/// proc(5).
[[nodiscard]] std::vector<ProcessMapping> executableFileMappings(pid_t pid);

/// The same of a text in the form of /proc/PID/smaps.
[[nodiscard]] std::vector<ProcessMapping> executableFileMappings(std::string_view smaps);

} // namespace veltra

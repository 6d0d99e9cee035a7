#pragma once

#include "platform/base/Error.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <optional>
#include <string>

#include <sys/types.h>

namespace veltra {

/// A part of a file that a process has mapped as executable.
struct ProcessMapping {
    std::uintptr_t start = 0; ///< addresses in the process
    std::uintptr_t end = 0;
    std::string path; ///< in the process's mount namespace; " (deleted)" may follow
    dev_t device = 0; ///< as the kernel prints it, which on some file systems is not stat(2)'s
    ino_t inode = 0;
    bool isWrittenTo = false; ///< some page of it no longer is the file's

    friend bool operator==(const ProcessMapping&, const ProcessMapping&) = default;
};

/// Where the reading of a process's mappings stops. A stranger may have any number of them.
struct MappingBounds {
    std::size_t mappings = 4096;      ///< those that are reported
    std::size_t text = 4096UL * 1024; ///< bytes of smaps; some 700 for each mapping of any kind
};

/// Receives one mapping; an error ends the reading.
using TakeMapping = std::function<Result<>(const ProcessMapping&)>;

/// Reports the executable file mappings of process `pid` one by one, in the order of their
/// addresses; none if they cannot be read. Memory that belongs to no file, for example code
/// compiled at run time, is left out.
///
/// Keeps no more than one mapping in memory. Fails with the error that `take` returns, and with
/// Distrust::hasTooManyMappings beyond the bounds. See /proc/PID/smaps in proc(5).
[[nodiscard]] Result<> readExecutableFileMappings(pid_t pid, const TakeMapping& take);

/// The same for a text in the format of /proc/PID/smaps.
[[nodiscard]] Result<> readExecutableFileMappings(std::istream& smaps, const TakeMapping& take,
                                                  const MappingBounds& bounds = {});

/// The mapping of this process that starts at an address; empty if there is none.
[[nodiscard]] std::optional<ProcessMapping> ownMappingAt(std::uintptr_t address);

} // namespace veltra

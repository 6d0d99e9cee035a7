#pragma once

#include <cstddef>
#include <fstream>

#include <unistd.h>

namespace veltra {

/// How much of this process is in memory.
inline std::size_t residentBytes()
{
    std::ifstream file{"/proc/self/statm"};
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

} // namespace veltra

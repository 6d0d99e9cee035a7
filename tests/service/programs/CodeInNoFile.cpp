#include "tests/service/programs/CodeInNoFile.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace intruder {

namespace {

struct Mapping {
    std::uintptr_t start;
    std::size_t size;
    int protection;
};

void checkLast(bool isDone, const char* what)
{
    if (!isDone) {
        std::perror(what);
        std::_Exit(1);
    }
}

// The mappings of the process's own executable.
std::vector<Mapping> ownMappings()
{
    const std::string executable = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<Mapping> mappings;
    std::ifstream lines{"/proc/self/maps"};
    for (std::string line; std::getline(lines, line);) {
        if (!line.ends_with(" " + executable))
            continue;
        std::uintptr_t start = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        std::string permissions;
        std::istringstream{line} >> std::hex >> start >> dash >> end >> permissions;
        mappings.push_back({start, end - start,
                            (permissions[0] == 'r' ? PROT_READ : 0) |
                                (permissions[1] == 'w' ? PROT_WRITE : 0) |
                                (permissions[2] == 'x' ? PROT_EXEC : 0)});
    }
    return mappings;
}

// The same bytes at the same address, but no longer mapped from a file.
void replaceByCopy(int memory, const Mapping& mapping)
{
    void* const copy =
        ::mmap(nullptr, mapping.size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    checkLast(copy != MAP_FAILED, "map a copy");
    checkLast(::pread(memory, copy, mapping.size, static_cast<off_t>(mapping.start)) ==
                  static_cast<ssize_t>(mapping.size),
              "copy");
    checkLast(::mprotect(copy, mapping.size, mapping.protection) == 0, "protect the copy");
    checkLast(::mremap(copy, mapping.size, mapping.size, MREMAP_MAYMOVE | MREMAP_FIXED,
                       reinterpret_cast<void*>(mapping.start)) != MAP_FAILED,
              "replace the mapping");
}

} // namespace

void moveOwnCodeOutOfItsFile()
{
    const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    checkLast(memory >= 0, "open the own memory");
    for (const Mapping& mapping : ownMappings())
        replaceByCopy(memory, mapping);
    ::close(memory);
}

} // namespace intruder

#include "tests/service/programs/ForgedLink.h"

#include "tests/service/programs/Intruder.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/prctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace intruder {

namespace {

using veltra::Fd;

constexpr const char* link = "/proc/self/exe";

struct Mapping {
    std::uintptr_t start;
    std::size_t size;
    int protection;
};

// The mappings of the process's own executable.
std::vector<Mapping> ownMappings()
{
    const std::string executable = std::filesystem::read_symlink(link);
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

// The same bytes at the same address, but no longer mapped from a file. This code continues in
// them.
void replaceByCopy(const Fd& memory, const Mapping& mapping)
{
    void* const copy =
        ::mmap(nullptr, mapping.size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    checkLast(copy != MAP_FAILED, "map a copy");
    checkLast(::pread(memory.get(), copy, mapping.size, static_cast<off_t>(mapping.start)) ==
                  static_cast<ssize_t>(mapping.size),
              "copy");
    checkLast(::mprotect(copy, mapping.size, mapping.protection) == 0, "protect the copy");
    checkLast(::mremap(copy, mapping.size, mapping.size, MREMAP_MAYMOVE | MREMAP_FIXED,
                       reinterpret_cast<void*>(mapping.start)) != MAP_FAILED,
              "replace the mapping");
}

// The layout that the kernel already has; see proc_pid_stat(5) for the numbers.
prctl_mm_map ownLayout()
{
    std::ifstream stat{"/proc/self/stat"};
    std::string line;
    std::getline(stat, line);
    std::istringstream rest{line.substr(line.rfind(')') + 2)};
    // The first of them is the third field.
    const std::vector<std::string> fields{std::istream_iterator<std::string>{rest}, {}};
    const auto field = [&](std::size_t number) -> std::uint64_t {
        return std::stoull(fields.at(number - 3));
    };
    prctl_mm_map layout{};
    layout.start_code = field(26);
    layout.end_code = field(27);
    layout.start_stack = field(28);
    layout.start_data = field(45);
    layout.end_data = field(46);
    layout.start_brk = field(47);
    layout.brk = reinterpret_cast<std::uintptr_t>(::sbrk(0));
    layout.arg_start = field(48);
    layout.arg_end = field(49);
    layout.env_start = field(50);
    layout.env_end = field(51);
    return layout;
}

} // namespace

void forgeLinkToExecutable(const char* program)
{
    const Fd executable{::open(program, O_RDONLY | O_CLOEXEC)};
    checkLast(static_cast<bool>(executable), "open the program");
    prctl_mm_map layout = ownLayout();
    layout.exe_fd = static_cast<std::uint32_t>(executable.get());
    // The kernel refuses as long as the current executable is mapped anywhere.
    const Fd memory{::open("/proc/self/mem", O_RDONLY | O_CLOEXEC)};
    for (const Mapping& mapping : ownMappings())
        replaceByCopy(memory, mapping);
    checkLast(::prctl(PR_SET_MM, PR_SET_MM_MAP, &layout, sizeof layout, 0) == 0, "forge the link");
    say("runs " + std::filesystem::read_symlink(link).string());
}

} // namespace intruder

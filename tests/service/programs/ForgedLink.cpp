#include "tests/service/programs/ForgedLink.h"

#include "tests/service/programs/CodeInNoFile.h"
#include "tests/service/programs/Intruder.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/prctl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace intruder {

namespace {

using veltra::Fd;

constexpr const char* link = "/proc/self/exe";

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
    moveOwnCodeOutOfItsFile();
    checkLast(::prctl(PR_SET_MM, PR_SET_MM_MAP, &layout, sizeof layout, 0) == 0, "forge the link");
    say("runs " + std::filesystem::read_symlink(link).string());
}

} // namespace intruder

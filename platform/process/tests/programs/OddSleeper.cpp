// OddSleeper: does what each line on its standard input says, and answers with that line, or with
// the reason why it could not. It ends when its input ends.
//
//   exec PROGRAM   executes another program, which answers instead
//   chroot FOLDER  in its own user namespace if it may not do so here
//   hide           moves its code out of the files that it came from
//   seccomp        installs a filter that permits everything
//   seteuid USER
//   thread         starts a thread that sleeps
//
// Any other line is only answered.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

bool installFilter()
{
    sock_filter allow = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const sock_fprog program{.len = 1, .filter = &allow};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

bool startThread()
{
    std::thread{[] { ::pause(); }}.detach();
    return true;
}

bool changeRoot(const std::string& folder)
{
    return ::chroot(folder.c_str()) == 0 ||
           (::unshare(CLONE_NEWUSER) == 0 && ::chroot(folder.c_str()) == 0);
}

struct Range {
    std::uintptr_t start;
    std::uintptr_t end;
};

std::vector<Range> codeInFiles()
{
    std::vector<Range> found;
    std::ifstream maps{"/proc/self/maps"};
    for (std::string line; std::getline(maps, line);)
        if (line.find(" r-xp ") != std::string::npos && line.find('/') != std::string::npos)
            found.push_back({.start = std::stoul(line, nullptr, 16),
                             .end = std::stoul(line.substr(line.find('-') + 1), nullptr, 16)});
    return found;
}

// The code continues at the same address, including this function, because its replacement is
// identical.
bool moveOutOfFile(const Range& code)
{
    void* const start = reinterpret_cast<void*>(code.start); // NOLINT(*-no-int-to-ptr)
    const std::size_t size = code.end - code.start;
    void* const copy =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (copy == MAP_FAILED)
        return false;

    std::memcpy(copy, start, size);
    return ::mprotect(copy, size, PROT_READ | PROT_EXEC) == 0 &&
           ::mremap(copy, size, size, MREMAP_MAYMOVE | MREMAP_FIXED, start) == start;
}

bool obey(const std::string& line)
{
    std::istringstream words{line};
    std::string verb;
    std::string object;
    words >> verb >> object;
    if (verb == "exec")
        return ::execl(object.c_str(), object.c_str(), nullptr) == 0;
    if (verb == "chroot")
        return changeRoot(object);
    if (verb == "hide")
        return std::ranges::all_of(codeInFiles(), moveOutOfFile);
    if (verb == "seccomp")
        return installFilter();
    if (verb == "seteuid")
        return ::seteuid(static_cast<uid_t>(std::stoul(object))) == 0;
    return verb != "thread" || startThread();
}

} // namespace

int main()
{
    // Input after the line is left for the program that it executes.
    std::setvbuf(stdin, nullptr, _IONBF, 0);
    for (std::string line; std::getline(std::cin, line);)
        std::cout << (obey(line) ? line : std::generic_category().message(errno)) << std::endl;
    return 0;
}

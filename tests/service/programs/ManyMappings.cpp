// A library that is loaded into a program and gives it nearly as many executable mappings as a
// process may have.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

[[gnu::constructor]] static void mapAgainAndAgain()
{
    constexpr int many = 65000;
    const auto page = static_cast<unsigned long>(::sysconf(_SC_PAGESIZE));
    const int file = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    // Always the same page of the file, as the kernel joins pages that follow each other.
    for (int i = 0; i < many; ++i)
        ::mmap(nullptr, page, PROT_READ | PROT_EXEC, MAP_PRIVATE, file, 0);
    ::close(file);
}

// A library that is loaded into a program and maps a file of the user's there that looks like one
// of root's: the variable VELTRA_TEST_FALSE_LIBRARY names root's file.
//
// In a user namespace every user may mount an empty file system where root's file is, and make
// files there until one of them has the number that the kernel prints for root's.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t onePage = 4096;

void check(bool isDone, const char* what)
{
    if (!isDone) {
        std::perror(what);
        std::_Exit(1);
    }
}

void put(const char* path, const std::string& text)
{
    check(static_cast<bool>(std::ofstream{path} << text << std::flush), path);
}

void* mapCode(int file)
{
    void* const start = ::mmap(nullptr, onePage, PROT_READ | PROT_EXEC, MAP_PRIVATE, file, 0);
    check(start != MAP_FAILED, "map");
    return start;
}

// The number that is printed for a mapping of the file, which may differ from the file's own.
ino_t printedInode(const std::string& path)
{
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    check(file >= 0, path.c_str());
    void* const start = mapCode(file);
    ::close(file);
    std::ostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(start) << "-";
    std::ifstream maps{"/proc/self/maps"};
    std::string line;
    while (std::getline(maps, line) && !line.starts_with(address.str())) {
    }
    ::munmap(start, onePage);
    std::istringstream fields{line};
    std::string skipped;
    ino_t inode = 0;
    fields >> skipped >> skipped >> skipped >> skipped >> inode;
    return inode;
}

// The descriptor is our parent's too.
void openInOwnPlace(const std::string& path, ino_t inode, uid_t user, gid_t group)
{
    const std::string folder = std::filesystem::path{path}.parent_path();
    put("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1");
    put("/proc/self/setgroups", "deny");
    put("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1");
    check(::mount("none", folder.c_str(), "tmpfs", 0, "mode=0755,nr_inodes=0") == 0, "mount");
    // When this process has ended, the kernel prints paths in what was mounted from there on.
    const std::string file = folder + path;
    std::filesystem::create_directories(std::filesystem::path{file}.parent_path());
    struct stat status {};
    while (status.st_ino != inode) {
        ::unlink(file.c_str());
        const int made = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0755);
        check(made >= 0 && ::fstat(made, &status) == 0, "make a file");
        ::close(made);
        check(status.st_ino <= inode, "make a file of that number");
    }
    const int opened = ::open(file.c_str(), O_RDWR);
    check(opened >= 0 && ::ftruncate(opened, onePage) == 0, "open the file");
}

[[gnu::constructor]] void mapFalseLibrary()
{
    const std::string path = std::getenv("VELTRA_TEST_FALSE_LIBRARY");
    const ino_t inode = printedInode(path);
    const uid_t user = ::getuid();
    const gid_t group = ::getgid();
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(next);
    const auto child =
        static_cast<pid_t>(::syscall(SYS_clone, CLONE_NEWUSER | CLONE_NEWNS | CLONE_FILES | SIGCHLD,
                                     nullptr, nullptr, nullptr, nullptr));
    if (child == 0) {
        openInOwnPlace(path, inode, user, group);
        ::_exit(0);
    }
    int status = 1;
    check(child > 0 && ::waitpid(child, &status, 0) == child && status == 0,
          "have a file in a user namespace");
    mapCode(next);
    ::close(next);
}

} // namespace

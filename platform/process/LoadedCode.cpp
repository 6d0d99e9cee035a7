#include "platform/process/LoadedCode.h"

#include "platform/base/Fd.h"
#include "platform/base/FileIdentity.h"
#include "platform/base/ProcPath.h"
#include "platform/process/Distrust.h"
#include "platform/process/FileStatus.h"
#include "platform/process/ProcessMappings.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

// The kernel gives a mapped file's path without links. If we followed links, an attacker could
// replace a folder in it with a link to somebody else's file before we look. We open name by name
// because a systemd unit that forbids setting setuid bits does not allow openat2(2).
Fd openWithoutLinks(Fd root, const std::string& path)
{
    Fd file = std::move(root);
    std::istringstream names{path};
    for (std::string name; file && std::getline(names, name, '/');)
        if (!name.empty())
            file = Fd{::openat(file.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)};
    return file;
}

// What the kernel prints for a mapping of the file; empty if it cannot be mapped.
std::optional<ProcessMapping> mappingOf(const Fd& file)
{
    const Fd readable{::open(descriptorPath(file.get()).c_str(), O_RDONLY | O_CLOEXEC)};
    const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    // Never read, because the file may be empty.
    void* const start = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, readable.get(), 0);
    if (start == MAP_FAILED)
        return std::nullopt;
    auto mapping = ownMappingAt(reinterpret_cast<std::uintptr_t>(start));
    ::munmap(start, size);
    return mapping;
}

bool isListedAs(const ProcessMapping& mapping, const Fd& file, const struct stat& status)
{
    if (mapping.inode == status.st_ino && mapping.device == status.st_dev)
        return true;
    // On some file systems, overlayfs and btrfs for example, the kernel lists other numbers than
    // stat(2) tells.
    const auto own = mappingOf(file);
    return own && own->inode == mapping.inode && own->device == mapping.device;
}

// See map_files in proc(5); unlike in the list, there are no leading zeros.
std::string mappedFilePath(pid_t pid, const ProcessMapping& mapping)
{
    std::ostringstream name;
    name << "map_files/" << std::hex << mapping.start << '-' << mapping.end;
    return procPath(pid, name.str());
}

// Not every kernel and container gives us the mapped file itself. What is listed of it is nearly as
// good; but btrfs has the same numbers for files in different subvolumes.
bool isMappingOf(pid_t pid, const ProcessMapping& mapping, const Fd& file,
                 const struct stat& status)
{
    const Fd mapped{::open(mappedFilePath(pid, mapping).c_str(), O_PATH | O_CLOEXEC)};
    if (!mapped && (errno == EPERM || errno == EACCES))
        return isListedAs(mapping, file, status);
    struct stat mappedStatus {};
    return mapped && ::fstat(mapped.get(), &mappedStatus) == 0 && isSameFile(mappedStatus, status);
}

Result<> checkMapping(pid_t pid, const ProcessMapping& mapping)
{
    // Opened as the process sees it: our own mounts may all be nosuid, or hide a folder.
    const Fd file = openWithoutLinks(
        Fd{::open(procPath(pid, "root").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)}, mapping.path);
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return distrust(Distrust::codeWasReplaced, mapping.path);
    // Before the file is mapped: on a user's own file system that might take for ever.
    if (status.st_uid != 0 || isWritableByOthers(status))
        return distrust(Distrust::codeIsNotRoots, mapping.path);
    if (isOnNosuidMount(file))
        return distrust(Distrust::codeIsOnNosuidMount, mapping.path);
    if (!isMappingOf(pid, mapping, file, status))
        return distrust(Distrust::codeWasReplaced, mapping.path);
    if (mapping.isWrittenTo)
        return distrust(Distrust::codeIsWrittenTo, mapping.path);
    return success;
}

} // namespace

Result<> checkLoadedCode(pid_t pid)
{
    bool hasCode = false;
    auto checked = readExecutableFileMappings(pid, [&](const ProcessMapping& mapping) {
        hasCode = true;
        return checkMapping(pid, mapping);
    });
    // There is none while a process executes another program.
    if (checked && !hasCode)
        return distrust(Distrust::hasNoMappings);
    return checked;
}

} // namespace veltra

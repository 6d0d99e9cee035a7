#include "platform/RunningExecutable.h"

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {

namespace {

bool hasExited(const Fd& pidfd)
{
    pollfd exit{.fd = pidfd.get(), .events = POLLIN, .revents = 0};
    return ::poll(&exit, 1, 0) != 0;
}

// A process that has ended, and a thread of the kernel, runs no file.
OSStatus statusOfOpening(int error)
{
    return error == ENOENT || error == ESRCH ? errSecCSNoSuchCode : errSecCSCodeUnreadable;
}

} // namespace

SecOutcome<Fd> openOwnExecutable()
{
    Fd file{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};
    if (!file)
        return {errSecCSCodeUnreadable, {}};
    return {errSecSuccess, std::move(file)};
}

SecOutcome<Fd> openExecutableOf(std::int32_t pid)
{
    // The C library of Debian 12 declares its own function for C alone.
    const Fd pidfd{static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))};
    if (!pidfd)
        return {errno == ESRCH || errno == EINVAL ? errSecCSNoSuchCode : errSecCSCodeUnreadable,
                {}};

    Fd file{::open(("/proc/" + std::to_string(pid) + "/exe").c_str(), O_RDONLY | O_CLOEXEC)};
    const OSStatus status = file ? errSecSuccess : statusOfOpening(errno);
    // The number may have become another process's before the file was opened.
    if (hasExited(pidfd))
        return {errSecCSNoSuchCode, {}};
    if (!file)
        return {status, {}};

    return {errSecSuccess, std::move(file)};
}

} // namespace veltra

#include "platform/base/PidFd.h"

#include "platform/base/ProcPath.h"
#include "platform/base/ProcessStatus.h"

#include <string>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {

// A system call, because some C libraries declare the functions for C only.
PidFd PidFd::open(pid_t process) noexcept
{
    return PidFd{Fd{static_cast<int>(::syscall(SYS_pidfd_open, process, 0))}};
}

// See the section on pidfds of proc_pid_fdinfo(5).
bool PidFd::isOf(pid_t process) const
{
    const ProcessStatus information{procPath("self", "fdinfo/" + std::to_string(descriptor()))};
    return information["Pid"] == std::to_string(process);
}

bool PidFd::isAliveAfter(std::chrono::milliseconds time) const noexcept
{
    pollfd exit{descriptor(), POLLIN, 0};
    return ::poll(&exit, 1, static_cast<int>(time.count())) == 0;
}

void PidFd::signal(int number) const noexcept
{
    ::syscall(SYS_pidfd_send_signal, descriptor(), number, nullptr, 0);
}

} // namespace veltra

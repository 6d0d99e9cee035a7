#include "tools/admin/HardenedStart.h"

#include "platform/base/Fd.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace veltra {

namespace {

Result<> openStandardStreams()
{
    // open(2) returns the lowest free number.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) != stream)
            return Error::last("open the standard streams");
    const Fd nothing{::open("/dev/null", O_RDWR | O_CLOEXEC)};
    if (!nothing || ::dup2(nothing.get(), STDIN_FILENO) < 0)
        return Error::last("close the standard input");
    return success;
}

Result<> leaveCallersPlace()
{
    ::umask(022);
    // This fails in a process group leader; the terminal's signals are ignored in any case.
    ::setsid();
    if (::chdir("/") != 0)
        return Error::last("go to the root folder");
    return success;
}

// Our parent may be gone, and the user must not be able to end or stop us from the terminal.
Result<> resetSignals()
{
    for (int number = 1; number <= SIGRTMAX; ++number)
        std::signal(number, SIG_DFL); // fails for some signals
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTSTP, SIGTTIN, SIGTTOU})
        std::signal(number, SIG_IGN);
    sigset_t none;
    ::sigemptyset(&none);
    if (::sigprocmask(SIG_SETMASK, &none, nullptr) != 0)
        return Error::last("let signals through");
    return success;
}

// A timer keeps running across execve(2), and its signal may kill us.
Result<> stopTimers()
{
    const itimerval never{};
    for (const __itimer_which timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF})
        if (::setitimer(timer, &never, nullptr) != 0)
            return Error::last("stop the timers");
    return success;
}

Result<> raiseLimits()
{
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    for (const __rlimit_resource resource : {RLIMIT_FSIZE, RLIMIT_CPU, RLIMIT_AS, RLIMIT_DATA})
        if (::setrlimit(resource, &unlimited) != 0)
            return Error::last("raise the resource limits");

    constexpr rlim_t fewestDescriptors = 256;
    rlimit descriptors{};
    if (::getrlimit(RLIMIT_NOFILE, &descriptors) != 0)
        return Error::last("read the resource limits");
    descriptors.rlim_cur = std::max(descriptors.rlim_cur, fewestDescriptors);
    descriptors.rlim_max = std::max(descriptors.rlim_max, descriptors.rlim_cur);
    if (::setrlimit(RLIMIT_NOFILE, &descriptors) != 0)
        return Error::last("raise the resource limits");
    return success;
}

Result<> clearEnvironment()
{
    if (::clearenv() != 0 || ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1) != 0)
        return Error::last("clear the environment");
    // The user must not slow down the holder of the lock; if this is refused, others just wait
    // longer.
    ::setpriority(PRIO_PROCESS, 0, 0);
    return success;
}

} // namespace

Result<> hardenStart()
{
    return inOrder({openStandardStreams, leaveCallersPlace, resetSignals, stopTimers, raiseLimits,
                    clearEnvironment});
}

} // namespace veltra

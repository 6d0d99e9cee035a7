#include "platform/process/PinnedProcess.h"

#include "platform/base/FileIdentity.h"
#include "platform/base/ProcPath.h"
#include "platform/base/ProcessStatus.h"
#include "platform/process/Distrust.h"
#include "platform/process/FileStatus.h"
#include "platform/process/LoadedCode.h"

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

namespace {

// A thread that has ended meanwhile has no status, and nobody traces it.
bool isThreadTraced(const std::filesystem::path& thread)
{
    const ProcessStatus status{thread / "status"};
    const std::string_view tracer = status["TracerPid"];
    std::error_code ignored;
    return tracer.empty() ? std::filesystem::exists(thread, ignored) : tracer != "0";
}

} // namespace

Result<PinnedProcess> PinnedProcess::open(pid_t process)
{
    PidFd opened = PidFd::open(process);
    if (!opened)
        return Error::last("pin process", std::to_string(process));
    return open(process, std::move(opened));
}

Result<PinnedProcess> PinnedProcess::open(pid_t process, PidFd opened)
{
    const Error gone{std::make_error_code(std::errc::no_such_process), "pin process",
                     std::to_string(process)};
    if (!opened.isOf(process))
        return gone;
    Fd file{::open(procPath(process, "exe").c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)};
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return Error::last("open the executable of process", std::to_string(process));

    PinnedProcess pinned{process, std::move(opened), std::move(file), status};
    // The number may have been reused before the executable was opened.
    if (!pinned.process_.isAlive())
        return gone;
    return pinned;
}

PinnedProcess::PinnedProcess(pid_t pid, PidFd process, Fd executable, const struct stat& file)
    : pid_{pid}, process_{std::move(process)}, executable_{std::move(executable)}, file_{file}
{
}

Result<> PinnedProcess::check(const Expectation& expected) const
{
    Result<> checked = checkExecutable(expected.user);
    if (checked)
        checked = checkStatus(expected);
    if (checked)
        checked = checkNamespaces(expected.busDaemon);
    if (checked && expected.user != 0)
        checked = checkLoadedCode(pid_);
    // What was read above belongs to this process only if it is still alive. If it is not, or if it
    // changed meanwhile, that is the actual reason for the distrust.
    Result<> unchanged = checkUnchanged();
    return unchanged ? checked : unchanged;
}

Result<> PinnedProcess::checkUnchanged() const
{
    struct stat now {};
    const bool isSameProgram = ::stat(path("exe").c_str(), &now) == 0 && isSameFile(now, file_);
    const bool isTracedNow = isTraced();
    const bool isInOurUserNamespace = hasSame("ns/user", ::getpid());
    if (!process_.isAlive())
        return distrust(Distrust::hasExited);
    if (!isSameProgram)
        return distrust(Distrust::runsAnotherExecutable);
    if (isTracedNow)
        return distrust(Distrust::isTraced);
    if (!isInOurUserNamespace)
        return distrust(Distrust::otherUserNamespace);
    return success;
}

bool PinnedProcess::end(std::chrono::milliseconds patience) const
{
    process_.signal(SIGTERM);
    return !process_.isAliveAfter(patience);
}

std::string PinnedProcess::path(const char* name) const
{
    return procPath(pid_, name);
}

// A tracer attaches to single threads, and the process's own status only covers the first one.
bool PinnedProcess::isTraced() const
{
    std::error_code error;
    std::filesystem::directory_iterator thread{path("task"), error};
    for (; !error && thread != std::filesystem::directory_iterator{}; thread.increment(error))
        if (isThreadTraced(thread->path()))
            return true;
    return error != std::error_code{};
}

// Whether the entry `name` in /proc is the same object for both processes.
bool PinnedProcess::hasSame(const char* name, pid_t other) const
{
    struct stat mine {};
    struct stat its {};
    return ::stat(path(name).c_str(), &its) == 0 &&
           ::stat(procPath(other, name).c_str(), &mine) == 0 && isSameFile(its, mine);
}

Result<> PinnedProcess::checkExecutable(uid_t user) const
{
    struct stat now {};
    if (::fstat(executable_.get(), &now) != 0 || now.st_nlink == 0)
        return distrust(Distrust::executableIsDeleted);
    if (!S_ISREG(now.st_mode))
        return distrust(Distrust::executableIsNoFile);
    if (isWritableByOthers(now))
        return distrust(Distrust::executableIsWritable);
    if (user != 0 && isOnNosuidMount(executable_))
        return distrust(Distrust::executableIsOnNosuidMount);
    // A process can hide its own code from its list of mappings, so that list is not enough.
    if (user != 0 && now.st_uid != 0)
        return distrust(Distrust::executableIsNotRoots);
    return success;
}

Result<> PinnedProcess::checkStatus(const Expectation& expected) const
{
    const ProcessStatus status{path("status")};
    std::istringstream ids{std::string{status["Uid"]}};
    int count = 0;
    for (uid_t id = 0; ids >> id; ++count)
        if (id != expected.user)
            return distrust(Distrust::runsAsAnotherUser);
    if (count != 4)
        return distrust(Distrust::statusIsUnreadable);
    // A container's own filters apply to all of its processes and are not an attack.
    const ProcessStatus first{procPath(expected.first, "status")};
    for (const char* name : {"Seccomp", "Seccomp_filters"})
        if (status[name].empty() || status[name] != first[name])
            return distrust(Distrust::isFiltered);
    return success;
}

Result<> PinnedProcess::checkNamespaces(pid_t busDaemon) const
{
    if (!hasSame("ns/pid", ::getpid()))
        return distrust(Distrust::otherPidNamespace);
    if (!hasSame("ns/mnt", busDaemon))
        return distrust(Distrust::otherMountNamespace);
    if (!hasSame("root", busDaemon))
        return distrust(Distrust::otherRootFolder);
    return success;
}

} // namespace veltra

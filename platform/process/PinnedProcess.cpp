#include "platform/process/PinnedProcess.h"

#include "platform/base/FileIdentity.h"
#include "platform/base/ProcPath.h"
#include "platform/base/ProcessStatus.h"
#include "platform/process/ProcessMappings.h"

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;

bool isOnNosuidMount(const Fd& file)
{
    struct statvfs mount {};
    return ::fstatvfs(file.get(), &mount) != 0 || (mount.f_flag & ST_NOSUID) != 0;
}

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

std::optional<std::string> PinnedProcess::objection(const Expectation& expected) const
{
    Objection objection = toExecutable(expected.user);
    if (!objection)
        objection = toStatus(expected);
    if (!objection)
        objection = toNamespaces(expected.busDaemon);
    if (!objection && expected.user != 0)
        objection = toMappings();
    // What was read above belongs to this process only if it is still alive. If it is not, or if it
    // changed meanwhile, that is the actual reason for the objection.
    const Objection changed = change();
    return changed ? changed : objection;
}

std::optional<std::string> PinnedProcess::change() const
{
    struct stat now {};
    const bool isSameProgram = ::stat(path("exe").c_str(), &now) == 0 && isSameFile(now, file_);
    const bool isTracedNow = isTraced();
    const bool isInOurUserNamespace = hasSame("ns/user", ::getpid());
    if (!process_.isAlive())
        return "it has exited";
    if (!isSameProgram)
        return "it runs another executable";
    if (isTracedNow)
        return "it is traced";
    if (!isInOurUserNamespace)
        return "it is in another user namespace";
    return std::nullopt;
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

PinnedProcess::Objection PinnedProcess::toExecutable(uid_t user) const
{
    struct stat now {};
    if (::fstat(executable_.get(), &now) != 0 || now.st_nlink == 0)
        return "its executable was deleted";
    if (!S_ISREG(now.st_mode))
        return "its executable is no plain file";
    if ((now.st_mode & writableByOthers) != 0)
        return "others may write to its executable";
    if (user != 0 && isOnNosuidMount(executable_))
        return "its executable is on a nosuid mount";
    return std::nullopt;
}

PinnedProcess::Objection PinnedProcess::toStatus(const Expectation& expected) const
{
    const ProcessStatus status{path("status")};
    std::istringstream ids{std::string{status["Uid"]}};
    int count = 0;
    for (uid_t id = 0; ids >> id; ++count)
        if (id != expected.user)
            return "it runs as another user";
    if (count != 4)
        return "its status cannot be read";
    // A container's own filters apply to all of its processes and are not an attack.
    const ProcessStatus first{procPath(expected.first, "status")};
    for (const char* name : {"Seccomp", "Seccomp_filters"})
        if (status[name].empty() || status[name] != first[name])
            return "it is under a seccomp filter of its own";
    return std::nullopt;
}

PinnedProcess::Objection PinnedProcess::toNamespaces(pid_t busDaemon) const
{
    if (!hasSame("ns/pid", ::getpid()))
        return "it is in another pid namespace";
    if (!hasSame("ns/mnt", busDaemon))
        return "it is in another mount namespace";
    if (!hasSame("root", busDaemon))
        return "its root folder is another one";
    return std::nullopt;
}

PinnedProcess::Objection PinnedProcess::toMappings() const
{
    const auto mappings = executableFileMappings(pid_);
    // There are none while a process executes another program.
    if (mappings.empty())
        return "it has no executable mappings";
    for (const ProcessMapping& mapping : mappings) {
        // Opened as the process sees it: our own mounts may all be nosuid, or hide a folder.
        const Fd file = openWithoutLinks(
            Fd{::open(path("root").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)}, mapping.path);
        struct stat status {};
        if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
            status.st_ino != mapping.inode)
            return mapping.path + " was replaced since it was loaded; restarting the program helps";
        if (status.st_uid != 0 || (status.st_mode & writableByOthers) != 0)
            return mapping.path + ", which it has loaded, is not root's alone";
        if (isOnNosuidMount(file))
            return mapping.path + ", which it has loaded, is on a nosuid mount";
        if (mapping.isWrittenTo)
            return mapping.path + " was changed in its memory";
    }
    return std::nullopt;
}

} // namespace veltra

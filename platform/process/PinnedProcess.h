#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"
#include "platform/base/PidFd.h"

#include <chrono>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <sys/types.h>

namespace veltra {

/// Another process and the program that it runs, pinned so that what is found out about them stays
/// true: if its number is given to another process or its executable is replaced, that is noticed.
///
/// Inspecting other users' processes needs CAP_SYS_PTRACE. A value that one thread uses at a time.
/// The checks read a dozen files in /proc and may block in a file system that the process's user
/// serves. See proc(5).
class PinnedProcess {
  public:
    /// What is already known about the process.
    struct Expectation {
        uid_t user = 0;      ///< the user on whose behalf it runs
        pid_t busDaemon = 0; ///< the process whose mount namespace and root it must share
        pid_t first = 1;     ///< the process whose seccomp filters all others have too
    };

    /// Fails if there is no such process, or its executable cannot be opened.
    [[nodiscard]] static Result<PinnedProcess> open(pid_t process);

    /// The same for the process that `opened` refers to, whose number here must be `process`.
    [[nodiscard]] static Result<PinnedProcess> open(pid_t process, PidFd opened);

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }

    /// The executable, open for reading. Valid as long as this object lives.
    [[nodiscard]] const Fd& executable() const noexcept { return executable_; }

    /// The executable alone, for callers that need nothing else about the process.
    [[nodiscard]] Fd takeExecutable() && noexcept { return std::move(executable_); }

    /// Fails with one of Distrust if this process cannot be trusted to do what its executable says.
    /// For example, somebody else may be able to change the executable or the libraries, to act as
    /// the process, or to make it look like a different one.
    [[nodiscard]] Result<> check(const Expectation& expected) const;

    /// Fails with one of Distrust unless the process is alive and runs the same executable as when
    /// it was pinned, in the same user namespace, untraced.
    [[nodiscard]] Result<> checkUnchanged() const;

    /// Asks it with SIGTERM to end and waits up to `patience` for that; returns whether it ended.
    [[nodiscard]] bool end(std::chrono::milliseconds patience) const;

  private:
    PinnedProcess(pid_t pid, PidFd process, Fd executable, const struct stat& file);

    [[nodiscard]] std::string path(const char* name) const;
    [[nodiscard]] bool isTraced() const;
    [[nodiscard]] bool hasSame(const char* name, pid_t other) const;
    [[nodiscard]] Result<> checkExecutable(uid_t user) const;
    [[nodiscard]] Result<> checkStatus(const Expectation& expected) const;
    [[nodiscard]] Result<> checkNamespaces(pid_t busDaemon) const;

    pid_t pid_;
    PidFd process_;
    Fd executable_;
    struct stat file_;
};

} // namespace veltra

#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"
#include "platform/base/PidFd.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <sys/types.h>

namespace veltra {

/// Another process and the program that it runs, held fast so that what is found out about them
/// stays true of them: neither can its number be given to another process nor its executable be
/// replaced without that being noticed.
///
/// Looking at other users' processes takes CAP_SYS_PTRACE. A value that is used by one thread at a
/// time. The checks read a dozen files in /proc and may block in a file system that the process's
/// user serves himself. See proc(5).
class PinnedProcess {
  public:
    /// What is known of the process from elsewhere.
    struct Expectation {
        uid_t user = 0;      ///< on whose behalf it runs
        pid_t busDaemon = 0; ///< the process whose mount namespace and root it must share
        pid_t first = 1;     ///< the process whose seccomp filters all others are under
    };

    /// Fails when there is no such process, or its executable cannot be opened.
    [[nodiscard]] static Result<PinnedProcess> open(pid_t process);

    /// The same for the process that `opened` stands for, which must be known by that number here.
    [[nodiscard]] static Result<PinnedProcess> open(pid_t process, PidFd opened);

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }

    /// The executable, open for reading. Valid as long as this lives.
    [[nodiscard]] const Fd& executable() const noexcept { return executable_; }

    /// The executable alone, for who does not care what becomes of the process.
    [[nodiscard]] Fd takeExecutable() && noexcept { return std::move(executable_); }

    /// What speaks against trusting that this process does what its executable says; none when
    /// nothing does. Somebody else may be able to change the executable or the libraries, to act
    /// as the process, or to make it look like what it is not.
    [[nodiscard]] std::optional<std::string> objection(const Expectation& expected) const;

    /// What changed since the process was pinned; none when it lives and runs the same executable
    /// in the same user namespace, untraced.
    [[nodiscard]] std::optional<std::string> change() const;

    /// Asks it with SIGTERM to end, and waits that long for its end; whether it came.
    [[nodiscard]] bool end(std::chrono::milliseconds patience) const;

  private:
    using Objection = std::optional<std::string>;

    PinnedProcess(pid_t pid, PidFd process, Fd executable, const struct stat& file);

    [[nodiscard]] std::string path(const char* name) const;
    [[nodiscard]] bool isTraced() const;
    [[nodiscard]] bool hasSame(const char* name, pid_t other) const;
    [[nodiscard]] Objection toExecutable(uid_t user) const;
    [[nodiscard]] Objection toStatus(const Expectation& expected) const;
    [[nodiscard]] Objection toNamespaces(pid_t busDaemon) const;
    [[nodiscard]] Objection toMappings() const;

    pid_t pid_;
    PidFd process_;
    Fd executable_;
    struct stat file_;
};

} // namespace veltra

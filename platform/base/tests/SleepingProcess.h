#pragma once

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

/// A process that does nothing until it is killed. Its command line starts with the given name; the
/// program is sleep(1) or a copy of it.
class SleepingProcess {
  public:
    explicit SleepingProcess(const std::string& name = "sleep",
                             const std::string& program = "/bin/sleep")
    {
        const std::string seconds = "1000";
        // The child of a vfork() writes to its parent's memory.
        volatile int failure = 0;
        pid_ = ::vfork();
        if (pid_ == 0) {
            ::execl(program.c_str(), name.c_str(), seconds.c_str(), nullptr);
            failure = errno;
            ::_exit(127);
        }
        if (pid_ < 0)
            throw std::system_error{errno, std::generic_category(), "vfork"};
        if (failure != 0) {
            ::waitpid(pid_, nullptr, 0);
            throw std::system_error{failure, std::generic_category(), program};
        }
        waitForProgram(program);
    }

    SleepingProcess(const SleepingProcess&) = delete;
    SleepingProcess& operator=(const SleepingProcess&) = delete;
    ~SleepingProcess()
    {
        if (!isReaped_)
            killAndReap();
    }

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }

    /// Leaves a zombie.
    void kill() const { ::kill(pid_, SIGKILL); }

    /// Returns when the process is completely gone.
    void killAndReap()
    {
        kill();
        ::waitpid(pid_, nullptr, 0);
        isReaped_ = true;
    }

  private:
    // The command line is empty for a moment after execl() has released the parent; and where
    // vfork() is fork(), as under ThreadSanitizer, the parent does not wait for execl() at all.
    void waitForProgram(const std::string& program) const
    {
        const std::string process = "/proc/" + std::to_string(pid_);
        std::error_code isNotYet;
        while (!std::filesystem::equivalent(process + "/exe", program, isNotYet) ||
               std::ifstream{process + "/cmdline"}.peek() == std::ifstream::traits_type::eof())
            ::sched_yield();
    }

    pid_t pid_ = -1;
    bool isReaped_ = false;
};

} // namespace veltra

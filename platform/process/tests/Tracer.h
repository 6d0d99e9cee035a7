#pragma once

#include <cerrno>
#include <fstream>
#include <string>

#include <sys/ptrace.h>
#include <sys/wait.h>

namespace veltra {

/// Traces one thread, as a debugger does, until the object is destroyed; the thread then continues.
class Tracer {
  public:
    explicit Tracer(pid_t thread)
        : thread_{thread}, isAttached_{::ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) == 0}
    {
    }

    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    ~Tracer()
    {
        if (isAttached_ && stop())
            ::ptrace(PTRACE_DETACH, thread_, nullptr, nullptr);
    }

    /// False if users may not even trace their own processes.
    [[nodiscard]] explicit operator bool() const noexcept { return isAttached_; }

    /// Writes to the first word of the first executable memory, so that its page becomes private to
    /// the process. The value stays the same.
    [[nodiscard]] bool writeIntoCode()
    {
        void* const code = reinterpret_cast<void*>(firstCode()); // NOLINT(*-no-int-to-ptr)
        if (!code || !stop())
            return false;

        errno = 0;
        const long word = ::ptrace(PTRACE_PEEKTEXT, thread_, code, nullptr);
        return errno == 0 && ::ptrace(PTRACE_POKETEXT, thread_, code, word) == 0;
    }

  private:
    bool stop()
    {
        if (!isStopped_)
            isStopped_ = ::ptrace(PTRACE_INTERRUPT, thread_, nullptr, nullptr) == 0 &&
                         ::waitpid(thread_, nullptr, __WALL) == thread_;
        return isStopped_;
    }

    [[nodiscard]] unsigned long firstCode() const
    {
        std::ifstream maps{"/proc/" + std::to_string(thread_) + "/maps"};
        for (std::string line; std::getline(maps, line);)
            if (line.find(" r-xp ") != std::string::npos)
                return std::stoul(line, nullptr, 16);
        return 0;
    }

    pid_t thread_;
    bool isAttached_;
    bool isStopped_ = false;
};

} // namespace veltra

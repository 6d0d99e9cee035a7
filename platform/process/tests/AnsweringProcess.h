#pragma once

#include "platform/base/Fd.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <grp.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

/// A test's own process that answers each line on its standard input with a line, as cat(1) does.
/// It is killed when the object is destroyed.
class AnsweringProcess {
  public:
    struct Options {
        uid_t user = ::geteuid(); ///< another one only for root
        int namespaces = 0;       ///< CLONE_NEWUSER and its like
        std::string preload = {}; ///< a library to load before all others
    };

    /// Returns when the program runs. Throws if it cannot be started or the library cannot be
    /// loaded.
    explicit AnsweringProcess(const std::string& program) : AnsweringProcess{program, Options{}} {}
    AnsweringProcess(const std::string& program, const Options& options)
    {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            throw std::system_error{errno, std::generic_category(), "socketpair"};

        ours_ = Fd{ends[0]};
        start(program, options, Fd{ends[1]});
        if (ask("ready").empty() || !hasLoaded(options.preload)) {
            kill();
            reap();
            throw std::runtime_error{"cannot run " + program};
        }
    }

    AnsweringProcess(const AnsweringProcess&) = delete;
    AnsweringProcess& operator=(const AnsweringProcess&) = delete;
    ~AnsweringProcess()
    {
        kill();
        reap();
    }

    /// Whether this user may start processes in such namespaces.
    [[nodiscard]] static bool mayBeIn(int namespaces)
    {
        const pid_t child = clone(namespaces);
        if (child == 0)
            ::_exit(0);
        return child > 0 && ::waitpid(child, nullptr, 0) == child;
    }

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }

    void tell(const std::string& line) const
    {
        const std::string text = line + "\n";
        ::send(ours_.get(), text.data(), text.size(), MSG_NOSIGNAL);
    }

    /// What the process answers to a line; empty if it has ended.
    [[nodiscard]] std::string ask(const std::string& line) const
    {
        tell(line);
        std::string answer;
        for (char next = 0; ::read(ours_.get(), &next, 1) == 1 && next != '\n';)
            answer += next;
        return answer;
    }

    /// Leaves a zombie.
    void kill() const
    {
        if (pid_ <= 0)
            return;
        ::kill(pid_, SIGKILL);
        siginfo_t information{};
        ::waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOWAIT);
    }

    /// Removes a process that was killed, including the zombie.
    void reap()
    {
        if (pid_ > 0)
            ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

  private:
    // fork(2) cannot create namespaces, but it makes sure that no lock of a sanitizer's own thread
    // stays locked for ever in the child.
    static pid_t clone(int namespaces)
    {
        if (namespaces == 0)
            return ::fork();
        return static_cast<pid_t>(::syscall(SYS_clone, namespaces | SIGCHLD, 0, 0, 0, 0));
    }

    // The other end is closed before anybody reads, so that the end of the process is noticed.
    void start(const std::string& program, const Options& options, const Fd& its)
    {
        // In its own user namespace, the process would see a different number.
        const bool isOther = options.user != ::geteuid();
        pid_ = clone(options.namespaces);
        if (pid_ == 0 && isOther && !takeOn(options.user))
            ::_exit(127);
        if (pid_ == 0)
            become(program, options.preload, its);
        if (pid_ < 0)
            throw std::system_error{errno, std::generic_category(), "clone"};
    }

    static bool takeOn(uid_t user)
    {
        return ::setgroups(0, nullptr) == 0 && ::setresgid(user, user, user) == 0 &&
               ::setresuid(user, user, user) == 0;
    }

    [[noreturn]] static void become(const std::string& program, const std::string& preload,
                                    const Fd& its)
    {
        const std::string variable = "LD_PRELOAD=" + preload;
        const char* const first = preload.empty() ? nullptr : variable.c_str();
        const std::array<const char*, 2> environment{first, nullptr};
        const std::array<const char*, 2> arguments{program.c_str(), nullptr};
        ::dup2(its.get(), STDIN_FILENO);
        ::dup2(its.get(), STDOUT_FILENO);
        ::execve(program.c_str(), const_cast<char**>(arguments.data()),
                 const_cast<char**>(environment.data()));
        ::_exit(127);
    }

    [[nodiscard]] bool hasLoaded(const std::string& library) const
    {
        std::ostringstream maps;
        maps << std::ifstream{"/proc/" + std::to_string(pid_) + "/maps"}.rdbuf();
        return maps.str().find(library) != std::string::npos;
    }

    Fd ours_;
    pid_t pid_ = -1;
};

} // namespace veltra

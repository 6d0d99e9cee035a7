#include "platform/base/ChildProcess.h"

#include "platform/base/DescriptorLimit.h"
#include "platform/base/Fd.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Everything that the new process needs, ready before it exists: until it executes the program it
/// shares our memory, and it may only make calls of the system.
class Preparation {
  public:
    explicit Preparation(const ChildProcess& child)
        : child_{child}, words_{child.program}, environment_{child.environment}
    {
        words_.insert(words_.end(), child.arguments.begin(), child.arguments.end());
        wordPointers_ = pointersTo(words_);
        environmentPointers_ = pointersTo(environment_);
    }

    /// In the new process. Tells `failure` the error number if the program cannot be executed.
    [[noreturn]] void execute(int failure) const noexcept
    {
        if (placeDescriptors(failure) && placeProcess()) {
            useNoSignals();
            ::execve(child_.program.c_str(), wordPointers_.data(), environmentPointers_.data());
        }
        const int error = errno;
        [[maybe_unused]] const ssize_t told = ::write(failure, &error, sizeof error);
        ::_exit(127);
    }

  private:
    [[nodiscard]] bool placeDescriptors(int failure) const noexcept
    {
        const int input = child_.standardInput >= 0 ? child_.standardInput
                                                    : ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        return place(input, STDIN_FILENO) && place(child_.standardOutput, STDOUT_FILENO) &&
               place(child_.standardError, STDERR_FILENO) &&
               (failure == STDERR_FILENO + 1 ||
                ::close_range(STDERR_FILENO + 1, static_cast<unsigned>(failure) - 1, 0) == 0) &&
               ::close_range(static_cast<unsigned>(failure) + 1, ~0U, 0) == 0;
    }

    [[nodiscard]] static bool place(int descriptor, int number) noexcept
    {
        return descriptor == number ? ::fcntl(number, F_SETFD, 0) == 0
                                    : ::dup2(descriptor, number) >= 0;
    }

    [[nodiscard]] bool placeProcess() const noexcept
    {
        return (!child_.leadsGroup || ::setpgid(0, 0) == 0) &&
               ::setrlimit(RLIMIT_NOFILE, &limit_) == 0 &&
               (child_.folder.empty() || ::chdir(child_.folder.c_str()) == 0);
    }

    static void useNoSignals() noexcept
    {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        for (int signal = 1; signal < NSIG; ++signal)
            ::sigaction(signal, &action, nullptr);
        sigset_t none{};
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
    }

    const ChildProcess& child_;
    const rlimit limit_ = childDescriptorLimit();
    std::vector<std::string> words_;
    std::vector<std::string> environment_;
    std::vector<char*> wordPointers_;
    std::vector<char*> environmentPointers_;
};

/// Blocks all signals of the calling thread: the new process must not run our handlers.
class BlockedSignals {
  public:
    BlockedSignals()
    {
        sigset_t all{};
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

// vfork(2) does not copy our memory, which may be large. What runs in the child makes system calls
// only, and changes none of our variables.
pid_t execute(const Preparation& preparation, int failure)
{
    const BlockedSignals blocked;
    const pid_t process = ::vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (process == 0)
        preparation.execute(failure); // NOLINT(clang-analyzer-unix.Vfork)
    return process;
}

} // namespace

Result<pid_t> startChild(const ChildProcess& child)
{
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return Error::last("start", child.program);
    const Fd read{ends[0]};
    Fd write{ends[1]};

    const pid_t process = execute(Preparation{child}, write.get());
    if (process < 0)
        return Error::last("start", child.program);

    write = {};
    int failure = 0;
    ssize_t told = 0;
    do {
        told = ::read(read.get(), &failure, sizeof failure);
    } while (told < 0 && errno == EINTR);
    if (told <= 0)
        return process;

    ::waitpid(process, nullptr, 0);
    return Error{{failure, std::generic_category()}, "start", child.program};
}

std::vector<std::string> ownEnvironment()
{
    std::vector<std::string> environment;
    for (char** variable = ::environ; variable && *variable; ++variable)
        environment.emplace_back(*variable);
    return environment;
}

} // namespace veltra

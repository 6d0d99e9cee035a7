#include "agentmon/AgentProcess.h"

#include "platform/base/ChildProcess.h"
#include "platform/base/EventFd.h"
#include "platform/base/Fd.h"
#include "platform/base/PidFd.h"
#include "platform/base/ProcPath.h"
#include "platform/base/ProcessStatus.h"
#include "platform/log/SystemLog.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

namespace {

using Clock = std::chrono::steady_clock;

/// A shell command line that runs, with its output. Its processes are ended if they still run when
/// this is destroyed.
class RunningCommand {
  public:
    /// Throws std::system_error.
    explicit RunningCommand(const char* command)
    {
        std::array<int, 2> ends{-1, -1};
        check(::pipe2(ends.data(), O_CLOEXEC) == 0, Error::last("make a pipe"));
        output_ = Fd{ends[0]};
        const Fd write{ends[1]};
        const auto shell = startChild({.program = "/bin/sh",
                                       .arguments = {"-c", command},
                                       .environment = ownEnvironment(),
                                       .standardOutput = write.get(),
                                       .standardError = STDERR_FILENO,
                                       .leadsGroup = true});
        if (!shell)
            throw std::system_error{shell.error().code(), shell.error().message()};
        shell_ = shell.value();
    }
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;
    ~RunningCommand()
    {
        ::kill(-shell_, SIGKILL);
        ::waitpid(shell_, nullptr, 0);
    }

    [[nodiscard]] int output() const noexcept { return output_.get(); }

    /// Reads what is there; false at the end.
    [[nodiscard]] bool readInto(std::string& text) const
    {
        std::array<char, 4096> block{};
        const ssize_t count = ::read(output_.get(), block.data(), block.size());
        check(count >= 0 || errno == EINTR, Error::last("read the output of a command"));
        if (count > 0)
            text.append(block.data(), static_cast<std::size_t>(count));
        return count != 0;
    }

    [[nodiscard]] PidFd shell() const { return PidFd::open(shell_); }

  private:
    static void check(bool isDone, const Error& error)
    {
        if (!isDone)
            throw std::system_error{error.code(), error.message()};
    }

    Fd output_;
    pid_t shell_ = -1;
};

/// Waits for descriptors, until a time or a request to stop.
class Patience {
  public:
    Patience(std::chrono::milliseconds timeLimit, const std::stop_token& stop)
        : deadline_{Clock::now() + timeLimit}, wake_{std::move(EventFd::open().value())},
          onStop_{stop, Wake{wake_}}
    {
    }

    /// Whether `descriptor` has become readable in time.
    [[nodiscard]] bool waitFor(int descriptor)
    {
        for (;;) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
            std::array<pollfd, 2> sources{
                {{.fd = descriptor, .events = POLLIN, .revents = 0},
                 {.fd = wake_.descriptor(), .events = POLLIN, .revents = 0}}};
            const int ready = ::poll(sources.data(), sources.size(),
                                     static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
            if (ready < 0 && errno == EINTR)
                continue;
            return ready > 0 && sources[1].revents == 0;
        }
    }

  private:
    struct Wake {
        EventFd& wake;
        void operator()() const noexcept { wake.signal(); }
    };

    Clock::time_point deadline_;
    EventFd wake_;
    std::stop_callback<Wake> onStop_;
};

std::optional<std::string> outputOf(const char* command, Patience patience)
{
    const RunningCommand running{command};
    std::string output;
    do {
        if (!patience.waitFor(running.output()))
            return std::nullopt;
    } while (running.readInto(output));
    return patience.waitFor(running.shell().descriptor()) ? std::optional{output} : std::nullopt;
}

// A line ends at a NUL byte; what stands behind it, with the line break, is lost.
std::string withoutLostParts(const std::string& output)
{
    std::string text;
    bool isLost = false;
    for (const char c : output) {
        isLost = isLost || c == '\0';
        if (!isLost)
            text += c;
        if (c == '\n')
            isLost = false;
    }
    return text;
}

bool areSameLetter(char one, char other) noexcept
{
    return std::tolower(static_cast<unsigned char>(one)) ==
           std::tolower(static_cast<unsigned char>(other));
}

} // namespace

std::optional<std::string> exec(const char* command, std::chrono::milliseconds timeLimit,
                                const std::stop_token& stop)
{
    try {
        const auto output = outputOf(command, Patience{timeLimit, stop});
        if (output)
            return withoutLostParts(*output);
        if (!stop.stop_requested())
            SystemLog::log("The search for the agent's process took too long and was ended");
        return std::nullopt;
    } catch (const std::exception&) {
        SystemLog::log("Exception in exec() function call");
        return std::string{};
    }
}

std::int32_t firstPidIn(const std::string& answer, const std::function<bool(std::int32_t)>& counts)
{
    std::istringstream numbers{answer};
    std::int32_t pid = -1;
    while (numbers >> pid && pid > 0)
        if (counts(pid))
            return pid;
    return pid > 0 ? -1 : pid;
}

bool isOwnedBy(std::int32_t pid, uid_t user)
{
    const ProcessStatus status{procPath(pid, "status")};
    uid_t realUser = 0;
    return std::istringstream{std::string{status["Uid"]}} >> realUser && realUser == user;
}

bool commandLineHolds(std::int32_t pid, std::string_view text)
{
    std::ifstream file{procPath(pid, "cmdline"), std::ios::binary};
    if (!file)
        return errno != ENOENT && errno != ESRCH;

    std::ostringstream content;
    content << file.rdbuf();
    std::string commandLine = std::move(content).str();
    std::ranges::replace(commandLine, '\0', ' ');
    return std::search(commandLine.begin(), commandLine.end(), text.begin(), text.end(),
                       areSameLetter) != commandLine.end();
}

} // namespace veltra

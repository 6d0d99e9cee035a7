#include "platform/Task.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

namespace {

/// A pipe that a program writes into and the loop reads from.
struct Pipe {
    Fd readEnd;
    Fd writeEnd;

    static Result<Pipe> open()
    {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            return Error::last("make a pipe");

        Pipe pipe{Fd{ends[0]}, Fd{ends[1]}};
        // The program's end blocks as programs expect.
        if (::fcntl(pipe.readEnd.get(), F_SETFL, O_NONBLOCK) != 0)
            return Error::last("make a pipe");
        return pipe;
    }
};

/// What a new process does before it becomes the program.
class Preparation {
  public:
    Preparation(const Fd& output, const Fd& error)
    {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, output.get(), STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions_, error.get(), STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
        ::posix_spawn_file_actions_addchdir_np(&actions_, "/");

        sigset_t signals{};
        ::posix_spawnattr_init(&attributes_);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;
    ~Preparation()
    {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    [[nodiscard]] const posix_spawn_file_actions_t& actions() const noexcept { return actions_; }
    [[nodiscard]] const posix_spawnattr_t& attributes() const noexcept { return attributes_; }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

Result<pid_t> spawn(const Task& task, const Fd& output, const Fd& error)
{
    const Preparation preparation{output, error};
    std::vector<std::string> words{task.launchPath};
    words.insert(words.end(), task.arguments.begin(), task.arguments.end());
    std::vector<std::string> environment = task.environment;
    pid_t process = 0;
    const int failure = ::posix_spawn(&process, task.launchPath.c_str(), &preparation.actions(),
                                      &preparation.attributes(), pointersTo(words).data(),
                                      pointersTo(environment).data());
    if (failure != 0)
        return Error{{failure, std::generic_category()}, "start", task.launchPath};
    return process;
}

/// A program that runs. The handlers that wait for it keep it; it goes with the last of them.
class RunningTask : public std::enable_shared_from_this<RunningTask> {
  public:
    explicit RunningTask(Task task) : task_{std::move(task)} {}

    // Everything that can be refused is asked for before the program runs, but for the last.
    [[nodiscard]] Result<std::monostate> start(PollLoop& loop)
    {
        auto outputPipe = Pipe::open();
        auto errorPipe = Pipe::open();
        if (!outputPipe || !errorPipe)
            return outputPipe ? errorPipe.error() : outputPipe.error();
        for (const auto& [stream, pipe] :
             {std::pair{&output_, &outputPipe}, std::pair{&error_, &errorPipe}})
            if (const auto failure = listen(loop, *stream, std::move(pipe->value().readEnd)))
                return *failure;

        const auto process = spawn(task_, outputPipe.value().writeEnd, errorPipe.value().writeEnd);
        const auto failure = process ? waitFor(loop, process.value()) : process.error();
        if (failure)
            stopListening();
        return failure ? Result<std::monostate>{*failure} : std::monostate{};
    }

  private:
    struct Stream {
        Fd descriptor;
        PollLoop::Registration watch;
    };

    std::optional<Error> listen(PollLoop& loop, Stream& stream, Fd readEnd)
    {
        stream.descriptor = std::move(readEnd);
        auto watch = loop.watch(
            stream.descriptor.get(), [self = shared_from_this(), &stream] { self->read(stream); },
            PollLoop::Reading::whileAllIsSent);
        if (!watch) {
            stopListening();
            return watch.error();
        }
        stream.watch = std::move(watch.value());
        return std::nullopt;
    }

    std::optional<Error> waitFor(PollLoop& loop, pid_t process)
    {
        process_.descriptor = Fd{static_cast<int>(::syscall(SYS_pidfd_open, process, 0))};
        auto watch = process_.descriptor
                         ? loop.watch(process_.descriptor.get(),
                                      [self = shared_from_this()] { self->terminated(); })
                         : Error::last("watch the program", task_.launchPath);
        if (!watch) {
            ::kill(process, SIGKILL);
            ::waitpid(process, nullptr, 0);
            return watch.error();
        }
        process_.watch = std::move(watch.value());
        return std::nullopt;
    }

    void stopListening()
    {
        output_.watch = {};
        error_.watch = {};
    }

    void read(Stream& stream)
    {
        std::array<char, 65536> piece; // NOLINT(*-member-init): read(2) fills what is used of it
        const ssize_t count = ::read(stream.descriptor.get(), piece.data(), piece.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0)
            stream.watch = {};
        const auto& handler = &stream == &output_ ? task_.standardOutput : task_.standardError;
        handler({piece.data(), count > 0 ? static_cast<std::size_t>(count) : 0});
    }

    void terminated()
    {
        process_.watch = {};
        siginfo_t ended{};
        ::waitid(P_PIDFD, static_cast<id_t>(process_.descriptor.get()), &ended, WEXITED);
        // The exit status or the signal, whichever it was.
        task_.terminationHandler(ended.si_status);
    }

    Task task_;
    Stream output_;
    Stream error_;
    Stream process_;
};

} // namespace

Result<std::monostate> launch(PollLoop& loop, Task task)
{
    return std::make_shared<RunningTask>(std::move(task))->start(loop);
}

} // namespace veltra

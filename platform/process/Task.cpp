#include "platform/process/Task.h"

#include "platform/base/PidFd.h"
#include "platform/process/TaskStreams.h"

#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

namespace {

/// What a new process does before it executes the program.
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

/// A running program. The handler that waits for its end keeps it alive.
class RunningTask : public std::enable_shared_from_this<RunningTask> {
  public:
    explicit RunningTask(Task task) : task_{std::move(task)} {}

    // Everything that can fail, except the last step, is done before the program runs.
    [[nodiscard]] Result<> start(EventLoop& loop)
    {
        const auto streams = std::make_shared<TaskStreams>(loop, task_);
        const auto ends = streams->start();
        if (!ends)
            return ends.error();

        const auto process = spawn(task_, ends.value().output, ends.value().error);
        auto started = process ? waitFor(loop, process.value()) : process.error();
        if (!started)
            streams->stop();
        return started;
    }

  private:
    [[nodiscard]] Result<> waitFor(EventLoop& loop, pid_t process)
    {
        process_ = PidFd::open(process);
        auto watch = process_ ? loop.watch(process_.descriptor(),
                                           [self = shared_from_this()] { self->terminated(); })
                              : Error::last("watch the program", task_.launchPath);
        if (!watch) {
            ::kill(process, SIGKILL);
            ::waitpid(process, nullptr, 0);
            return watch.error();
        }
        watch_ = std::move(watch.value());
        if (task_.timeLimit)
            limit_ = loop.callAfter(*task_.timeLimit, [this] { process_.signal(SIGTERM); });
        return success;
    }

    void terminated()
    {
        limit_ = {};
        watch_ = {};
        siginfo_t ended{};
        ::waitid(P_PIDFD, static_cast<id_t>(process_.descriptor()), &ended, WEXITED);
        // The exit status or the signal number, depending on how it ended.
        task_.terminationHandler(ended.si_status);
    }

    Task task_;
    PidFd process_;
    EventLoop::Registration watch_;
    EventLoop::Registration limit_;
};

} // namespace

Result<> launch(EventLoop& loop, Task task)
{
    return std::make_shared<RunningTask>(std::move(task))->start(loop);
}

} // namespace veltra

#include "platform/process/Task.h"

#include "platform/base/ChildProcess.h"
#include "platform/base/PidFd.h"
#include "platform/process/TaskStreams.h"

#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include <sys/wait.h>

namespace veltra {

namespace {

Result<pid_t> spawn(const Task& task, const Fd& output, const Fd& error)
{
    return startChild({.program = task.launchPath,
                       .arguments = task.arguments,
                       .environment = task.environment,
                       .standardOutput = output.get(),
                       .standardError = error.get(),
                       .folder = "/"});
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

#include "platform/desktop/ProcessExitWatch.h"

#include <string>
#include <utility>

namespace veltra {

Result<std::unique_ptr<ProcessExitWatch>> ProcessExitWatch::open(pid_t process,
                                                                 std::function<void()> onExit)
{
    PidFd opened = PidFd::open(process);
    if (!opened)
        return Error::last("watch process", std::to_string(process));

    return std::make_unique<ProcessExitWatch>(std::move(opened), std::move(onExit));
}

ProcessExitWatch::ProcessExitWatch(PidFd process, std::function<void()> onExit)
    : process_{std::move(process)}, onExit_{std::move(onExit)}, notifier_{new QSocketNotifier{
                                                                    process_.descriptor(),
                                                                    QSocketNotifier::Read}}
{
    QObject::connect(notifier_, &QSocketNotifier::activated, notifier_, [this] { exited(); });
}

ProcessExitWatch::~ProcessExitWatch()
{
    notifier_->setEnabled(false);
    notifier_->deleteLater();
}

void ProcessExitWatch::exited()
{
    // A pidfd stays readable for ever after the exit; left enabled it would spin the loop.
    notifier_->setEnabled(false);
    const auto onExit = std::move(onExit_);
    onExit();
}

} // namespace veltra

#include "platform/desktop/ProcessExitWatch.h"

#include <string>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {

Result<std::unique_ptr<ProcessExitWatch>> ProcessExitWatch::open(pid_t process,
                                                                 std::function<void()> onExit)
{
    // Some C libraries declare their own function for C alone.
    Fd pidfd{static_cast<int>(::syscall(SYS_pidfd_open, process, 0))};
    if (!pidfd)
        return Error::last("watch process", std::to_string(process));

    return std::make_unique<ProcessExitWatch>(std::move(pidfd), std::move(onExit));
}

ProcessExitWatch::ProcessExitWatch(Fd pidfd, std::function<void()> onExit)
    : pidfd_{std::move(pidfd)}, onExit_{std::move(onExit)}, notifier_{new QSocketNotifier{
                                                                pidfd_.get(),
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

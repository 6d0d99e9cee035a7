#pragma once

#include "platform/base/Error.h"
#include "platform/base/PidFd.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>

#include <sys/types.h>

namespace veltra {

/// Watches one process for its exit.
///
/// The process need not be a child and may belong to any user. `onExit` is called once, by the
/// event loop of the thread that opened the watch; it may destroy the watch. If the watch is
/// destroyed earlier, `onExit` is not called. Costs a descriptor, but no processor time until the
/// exit. See pidfd_open(2).
class ProcessExitWatch {
  public:
    /// Fails with std::errc::no_such_process if the process has already ended.
    [[nodiscard]] static Result<std::unique_ptr<ProcessExitWatch>>
    open(pid_t process, std::function<void()> onExit);

    ProcessExitWatch(PidFd process, std::function<void()> onExit);
    ProcessExitWatch(const ProcessExitWatch&) = delete;
    ProcessExitWatch& operator=(const ProcessExitWatch&) = delete;
    ~ProcessExitWatch();

  private:
    void exited();

    PidFd process_;
    std::function<void()> onExit_;
    QSocketNotifier* notifier_; // may be emitting its signal when the watch ends
};

} // namespace veltra

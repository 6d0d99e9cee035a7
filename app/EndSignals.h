#pragma once

#include "platform/base/EventFd.h"
#include "platform/log/SystemLog.h"

#include <QSocketNotifier>

#include <memory>

namespace veltra {

/// Lets SIGTERM, SIGINT and SIGHUP end the program in order: the event loop quits as if the user
/// had closed the window, and at last the process ends by the same signal. If that takes more than
/// five seconds, the signal ends the process then.
///
/// A signal that was ignored when the program was started stays ignored. There is one in a process,
/// as long as the process. Main thread only.
class EndSignals {
  public:
    /// Call it before the first thread is started.
    EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /// Whether a signal has come. It may have come before there was an event loop to quit.
    [[nodiscard]] static bool hasCome() noexcept;

    /// Quits the application when a signal comes, for as long as the notifier lives.
    [[nodiscard]] std::unique_ptr<QSocketNotifier> quitApplication() const;

    /// If a signal has come, writes out what waits in `log` and ends the process by that signal.
    static void endProcess(SystemLog& log);

  private:
    EventFd wakeUp_;
};

} // namespace veltra

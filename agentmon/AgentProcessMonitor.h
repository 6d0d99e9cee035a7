#pragma once

#include "agentmon/AgentProcess.h"
#include "platform/base/AgentInstallation.h"
#include "platform/desktop/NotificationCenter.h"
#include "platform/desktop/ProcessExitWatch.h"

#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace veltra {

enum class AgentState { running, down };

/// How the agent service is looked for. The defaults are what the program uses; tests look for
/// processes of their own.
struct AgentProcessSearch {
    std::string processQuery = agentProcessQuery;      ///< a shell command line that prints its pid
    std::string service = AgentInstallation{}.service; ///< stands in its command line
    std::chrono::milliseconds pollInterval{5000};
};

/// Tells whether the agent service runs.
///
/// While it runs its exit is watched, which costs nothing until it comes; while it is down it is
/// looked for once every poll interval. Main thread only. Each look runs a shell pipeline and
/// blocks until that has ended.
class AgentProcessMonitor : public QObject {
    Q_OBJECT

  public:
    /// Posted when the watched process has exited, once for each, without object and userInfo.
    static const QString exitNotification;

    using StateHandler = std::function<void(AgentState)>;

    /// Does nothing before start(). `onState` is called whenever a look or an exit settled the
    /// state, also when it stays as it was.
    AgentProcessMonitor(NotificationCenter& notifications, StateHandler onState,
                        AgentProcessSearch search = {});

    /// Takes the first look, then observes exits.
    void start();

    /// The process id of the agent service; below 1 when it does not run.
    [[nodiscard]] std::int32_t getVXAgentProcPid() const;

    /// Watches process `pid` for its exit, in place of the one watched before. A process that is
    /// gone already, or is another program that was given the number meanwhile, is reported as
    /// exited once the event loop runs. When the system grants no watch that is logged, and the
    /// service is polled for as if it were down.
    void monitorProcessWithPid(std::int32_t pid);

    /// Reacts to the exit notification.
    void vxsvcProcMonitorNotificationHandler(const Notification& note);

    /// Looks whether the service is back.
    void processTimer();

  private:
    struct EndTimer { // which may be in the middle of its signal
        void operator()(QTimer* timer) const;
    };

    void NoteExitKQueueCallback(std::int32_t pid);
    void callBackSoon(std::int32_t pid);
    void becomeRunning(std::int32_t pid);
    void becomeDown();
    void settle(AgentState state);
    void startPolling();

    NotificationCenter& notifications_;
    StateHandler onState_;
    AgentProcessSearch search_;
    std::unique_ptr<ProcessExitWatch> noteExitKQueueRef_;
    std::unique_ptr<QTimer, EndTimer> m_timerObj_; // null when no poll is running
    AgentState state_ = AgentState::down;
    NotificationCenter::Registration exitRegistration_;
};

} // namespace veltra

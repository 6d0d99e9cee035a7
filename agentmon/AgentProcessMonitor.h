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
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace veltra {

enum class AgentState { running, down };

/// How to look for the agent service. The program uses the defaults; tests look for their own
/// processes.
struct AgentProcessSearch {
    std::string processQuery = agentProcessQuery;      ///< a shell command line that prints its pid
    std::string service = AgentInstallation{}.service; ///< is contained in its command line
    uid_t owner = 0;                                   ///< owns it: root
    std::chrono::milliseconds pollInterval{5000};
    std::chrono::milliseconds timeLimit{2000}; ///< for one query
};

/// Reports whether the agent service runs.
///
/// While the service runs, its exit is watched, which costs nothing until it happens. While it is
/// down, the monitor looks for it once every poll interval. Main thread only. Each look runs a
/// shell pipeline on a thread of its own, since the pipeline may hang. A look that takes too long
/// changes nothing; the next poll tries again.
class AgentProcessMonitor : public QObject {
    Q_OBJECT

  public:
    /// Posted once for each watched process that has exited, without object and userInfo.
    static const QString exitNotification;

    using StateHandler = std::function<void(AgentState)>;

    /// Does nothing before start(). `onState` is called whenever a look or an exit determined the
    /// state, even if it did not change.
    AgentProcessMonitor(NotificationCenter& notifications, StateHandler onState,
                        AgentProcessSearch search = {});

    /// Ends a look in progress.
    ~AgentProcessMonitor() override;

    /// Looks for the service, and observes its exits. The state is told later, by the event loop.
    void start();

    /// The process id of the agent service; less than 1 if it does not run, nothing if that could
    /// not be found out in time. Blocks while the pipeline runs. Any thread.
    [[nodiscard]] std::optional<std::int32_t> getVXAgentProcPid() const;

    /// Watches process `pid` for its exit, instead of the one watched before. If the process has
    /// already ended, or its number now belongs to another program, it is reported as exited once
    /// the event loop runs. If the system does not permit the watch, that is logged, and the
    /// service is polled for as if it were down.
    void monitorProcessWithPid(std::int32_t pid);

    /// Handles the exit notification.
    void vxsvcProcMonitorNotificationHandler(const Notification& note);

    /// Checks whether the service is back.
    void processTimer();

  private:
    struct EndTimer { // the timer may be emitting its signal
        void operator()(QTimer* timer) const;
    };

    void look();
    void conclude(std::optional<std::int32_t> pid);
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
    std::unique_ptr<QTimer, EndTimer> m_timerObj_; // null if not polling
    std::optional<AgentState> state_;              // nothing before the first look has ended
    bool isLooking_ = false;
    NotificationCenter::Registration exitRegistration_;
    std::shared_ptr<AgentProcessMonitor*> self_; // work posted to the main thread holds it weakly
    std::stop_source stop_;
    std::thread look_;
};

} // namespace veltra

#include "agentmon/AgentProcessMonitor.h"

#include "platform/log/SystemLog.h"

#include <system_error>
#include <utility>

namespace veltra {

const QString AgentProcessMonitor::exitNotification = QStringLiteral("vxsvcProcExitNotification");

AgentProcessMonitor::AgentProcessMonitor(NotificationCenter& notifications, StateHandler onState,
                                         AgentProcessSearch search)
    : notifications_{notifications}, onState_{std::move(onState)}, search_{std::move(search)}
{
}

void AgentProcessMonitor::EndTimer::operator()(QTimer* timer) const
{
    timer->stop();
    timer->deleteLater();
}

void AgentProcessMonitor::start()
{
    const std::int32_t pid = getVXAgentProcPid();
    if (pid < 1)
        becomeDown();
    else
        becomeRunning(pid);
    exitRegistration_ =
        notifications_.addObserver(exitNotification, nullptr, [this](const Notification& note) {
            vxsvcProcMonitorNotificationHandler(note);
        });
}

std::int32_t AgentProcessMonitor::getVXAgentProcPid() const
{
    return firstPidIn(exec(search_.processQuery.c_str()));
}

void AgentProcessMonitor::monitorProcessWithPid(std::int32_t pid)
{
    noteExitKQueueRef_.reset();
    auto watch = ProcessExitWatch::open(pid, [this, pid] { NoteExitKQueueCallback(pid); });
    if (!watch && watch.error().code() != std::errc::no_such_process) {
        SystemLog::log(watch.error().message());
        return;
    }
    // Checked after the watch is set, so that a reuse of the number cannot go unnoticed.
    if (watch && commandLineHolds(pid, search_.service))
        noteExitKQueueRef_ = std::move(watch.value());
    else
        callBackSoon(pid);
}

void AgentProcessMonitor::callBackSoon(std::int32_t pid)
{
    QMetaObject::invokeMethod(
        this, [this, pid] { NoteExitKQueueCallback(pid); }, Qt::QueuedConnection);
}

void AgentProcessMonitor::NoteExitKQueueCallback(std::int32_t pid)
{
    noteExitKQueueRef_.reset();
    SystemLog::log({"terminated ", std::to_string(pid)});
    notifications_.postNotificationName(exitNotification);
}

void AgentProcessMonitor::vxsvcProcMonitorNotificationHandler(const Notification& note)
{
    if (note.name == exitNotification)
        becomeDown();
}

void AgentProcessMonitor::processTimer()
{
    SystemLog::log("in processTimer");
    const std::int32_t pid = getVXAgentProcPid();
    if (pid > 0)
        becomeRunning(pid);
    else if (state_ == AgentState::running)
        becomeDown();
}

void AgentProcessMonitor::becomeRunning(std::int32_t pid)
{
    monitorProcessWithPid(pid);
    settle(AgentState::running);
    if (noteExitKQueueRef_)
        m_timerObj_.reset();
    else
        startPolling();
}

void AgentProcessMonitor::becomeDown()
{
    settle(AgentState::down);
    startPolling();
}

void AgentProcessMonitor::settle(AgentState state)
{
    state_ = state;
    onState_(state);
}

void AgentProcessMonitor::startPolling()
{
    if (m_timerObj_)
        return;
    m_timerObj_.reset(new QTimer{this});
    connect(m_timerObj_.get(), &QTimer::timeout, this, &AgentProcessMonitor::processTimer);
    m_timerObj_->start(search_.pollInterval);
}

} // namespace veltra

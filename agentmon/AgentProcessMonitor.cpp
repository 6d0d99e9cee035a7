#include "agentmon/AgentProcessMonitor.h"

#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <system_error>
#include <utility>

namespace veltra {

const QString AgentProcessMonitor::exitNotification = QStringLiteral("vxsvcProcExitNotification");

AgentProcessMonitor::AgentProcessMonitor(NotificationCenter& notifications, StateHandler onState,
                                         AgentProcessSearch search)
    : notifications_{notifications}, onState_{std::move(onState)}, search_{std::move(search)},
      self_{std::make_shared<AgentProcessMonitor*>(this)}
{
}

AgentProcessMonitor::~AgentProcessMonitor()
{
    stop_.request_stop();
    if (look_.joinable())
        look_.join();
}

void AgentProcessMonitor::EndTimer::operator()(QTimer* timer) const
{
    timer->stop();
    timer->deleteLater();
}

void AgentProcessMonitor::start()
{
    exitRegistration_ =
        notifications_.addObserver(exitNotification, nullptr, [this](const Notification& note) {
            vxsvcProcMonitorNotificationHandler(note);
        });
    look();
}

std::optional<std::int32_t> AgentProcessMonitor::getVXAgentProcPid() const
{
    const auto answer = exec(search_.processQuery.c_str(), search_.timeLimit, stop_.get_token());
    if (!answer)
        return std::nullopt;
    // Any user may run a process with such a command line.
    return firstPidIn(*answer, [this](std::int32_t pid) { return isOwnedBy(pid, search_.owner); });
}

void AgentProcessMonitor::look()
{
    if (std::exchange(isLooking_, true))
        return;
    if (look_.joinable())
        look_.join();
    try {
        look_ = std::thread{[this, weak = std::weak_ptr{self_}] {
            const auto pid = getVXAgentProcPid();
            MainQueue::post([weak, pid] {
                if (const auto self = weak.lock())
                    (*self)->conclude(pid);
            });
        }};
    } catch (const std::system_error& error) {
        SystemLog::logThrown(error);
        conclude(std::nullopt);
    }
}

void AgentProcessMonitor::conclude(std::optional<std::int32_t> pid)
{
    isLooking_ = false;
    if (!pid)
        startPolling();
    else if (*pid > 0)
        becomeRunning(*pid);
    else if (state_ != AgentState::down)
        becomeDown();
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
    if (watch && commandLineHolds(pid, search_.service) && isOwnedBy(pid, search_.owner))
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
    look();
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

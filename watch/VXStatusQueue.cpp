#include "watch/VXStatusQueue.h"

#include "watch/WatcherNotifications.h"

#include <memory>
#include <mutex>
#include <utility>

namespace veltra {

namespace {

/// Receives the newest log's path until another receiver is set.
class NoReceiver : public LogPathReceiver {
  public:
    void addpath(const QString& /*path*/) override {}
};

std::function<LogPathReceiver&()>& logPathReceiver()
{
    static std::function<LogPathReceiver&()> receiver = []() -> LogPathReceiver& {
        static NoReceiver none;
        return none;
    };
    return receiver;
}

} // namespace

VXStatusQueueCentral* VXStatusQueue::sharedFileWatcher()
{
    static std::mutex mutex;
    static std::unique_ptr<VXStatusQueueCentral> gVXStatusQueueSharedQueueSingleton;
    const std::lock_guard lock{mutex};
    if (!gVXStatusQueueSharedQueueSingleton)
        gVXStatusQueueSharedQueueSingleton = VXStatusQueueCentral::init(
            {.notifications = NotificationCenter::defaultCenter(),
             .workspace = Workspace::sharedWorkspace(),
             .resources = VXStatusResourceController::sharedVXStatusResourceController(),
             .pathReceiver = logPathReceiver()});
    return gVXStatusQueueSharedQueueSingleton.get();
}

void VXStatusQueue::setLogPathReceiver(std::function<LogPathReceiver&()> receiver)
{
    logPathReceiver() = std::move(receiver);
}

VXStatusQueue::VXStatusQueue(VXStatusQueueCentral& central, NotificationCenter& notifications,
                             NotificationCenter& workspaceNotifications)
    : central_{central}, notifications_{notifications}, workspaceNotifications_{
                                                            workspaceNotifications}
{
    for (const auto& [note, name] : watcherNotifications())
        registrations_.push_back(
            notifications_.addObserver(name, &central_, [this](const Notification& notification) {
                fileChangeNotification(notification);
            }));
}

VXStatusQueue::~VXStatusQueue()
{
    delegate_ = nullptr;
    removeAllPaths();
}

void VXStatusQueue::addPath(const QString& path)
{
    addPath(path, VXStatusQueueCentral::allNotes);
}

void VXStatusQueue::addPath(const QString& path, std::uint32_t notifyingAbout)
{
    if (!watchedFiles_.contains(path))
        watchedFiles_[path] = central_.addPathToQueue(path, notifyingAbout);
}

void VXStatusQueue::addFolerPath(const QString& path)
{
    central_.addFolerPath(path);
}

void VXStatusQueue::removePath(const QString& path)
{
    if (watchedFiles_.erase(path) > 0)
        central_.removePath(path);
}

void VXStatusQueue::removeAllPaths()
{
    for (const auto& [path, entry] : std::exchange(watchedFiles_, {}))
        if (entry)
            central_.removePath(entry->path());
}

QString VXStatusQueue::getfilepath() const
{
    return QStringLiteral("test");
}

void VXStatusQueue::fileChangeNotification(const Notification& notification)
{
    const QString path = notification.userInfo.value(QStringLiteral("path")).toString();
    if (!watchedFiles_.contains(path))
        return;
    if (delegate_)
        delegate_->watcher(*this, notification.name, path);
    // Checked again, because the delegate may have removed itself when it was called.
    if (delegate_ && !alwaysNotify_)
        return;
    const QVariant self = QVariant::fromValue<QObject*>(this);
    notifications_.postNotificationName(notification.name, self, notification.userInfo);
    workspaceNotifications_.postNotificationName(notification.name, self, notification.userInfo);
}

} // namespace veltra

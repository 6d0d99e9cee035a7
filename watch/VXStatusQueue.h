#pragma once

#include "platform/desktop/NotificationCenter.h"
#include "watch/VXStatusQueueCentral.h"

#include <QObject>
#include <QString>

#include <map>
#include <memory>
#include <vector>

namespace veltra {

class VXStatusQueue;

/// Is told, on the main thread, what happened to the paths of one VXStatusQueue.
/// Not used by the program itself; part of the interface.
class VXStatusQueueDelegate {
  public:
    virtual ~VXStatusQueueDelegate() = default;

    virtual void watcher(VXStatusQueue& watcher, const QString& receivedNotification,
                         const QString& forPath) = 0;
};

/// One client's view of the file watcher: the paths that this client registered, and a delegate
/// that is told about changes to them. Main thread only. The program itself uses only the shared
/// watcher; the rest is part of the interface.
class VXStatusQueue : public QObject {
    Q_OBJECT

  public:
    /// The single watcher of this process, created on first use; null if the kernel cannot provide
    /// a queue, which the next call asks for again. The call that creates it must be on the main
    /// thread; others may come from any thread.
    static VXStatusQueueCentral* sharedFileWatcher();

    /// Sets what receives the newest log's path in sharedFileWatcher(). Call it before the first
    /// use.
    static void setLogPathReceiver(std::function<LogPathReceiver&()> receiver);

    /// A view of `central`, which must outlive it. Notifications that are passed on are posted on
    /// both centres, with the view as their object.
    VXStatusQueue(VXStatusQueueCentral& central, NotificationCenter& notifications,
                  NotificationCenter& workspaceNotifications);
    ~VXStatusQueue() override;

    [[nodiscard]] int queueFD() const noexcept { return central_.queueFD(); }

    /// Watches `path`, unless this view already does; a second call does not add to the kinds of
    /// changes that are watched.
    void addPath(const QString& path);
    void addPath(const QString& path, std::uint32_t notifyingAbout);
    void addFolerPath(const QString& path); // sic
    void removePath(const QString& path);
    /// Removes this view's paths; other holders keep theirs.
    void removeAllPaths();

    /// Always "test".
    [[nodiscard]] QString getfilepath() const;

    /// The delegate; not owned.
    [[nodiscard]] VXStatusQueueDelegate* delegate() const noexcept { return delegate_; }
    void setDelegate(VXStatusQueueDelegate* delegate) noexcept { delegate_ = delegate; }

    /// Whether notifications are passed on even if there is a delegate.
    [[nodiscard]] bool alwaysNotify() const noexcept { return alwaysNotify_; }
    void setAlwaysNotify(bool always) noexcept { alwaysNotify_ = always; }

    /// Handles one of the watcher's notifications.
    void fileChangeNotification(const Notification& notification);

  private:
    VXStatusQueueCentral& central_;
    NotificationCenter& notifications_;
    NotificationCenter& workspaceNotifications_;
    std::map<QString, std::shared_ptr<VXStatusQueuePathEntry>> watchedFiles_;
    VXStatusQueueDelegate* delegate_ = nullptr;
    bool alwaysNotify_ = false;
    std::vector<NotificationCenter::Registration> registrations_;
};

} // namespace veltra

#pragma once

#include "platform/base/AgentInstallation.h"
#include "platform/desktop/NotificationCenter.h"
#include "platform/desktop/VXStatusMainThread.h"
#include "platform/desktop/Workspace.h"
#include "platform/kqueue/KernelQueue.h"
#include "watch/VXStatusQueuePathEntry.h"
#include "watch/VXStatusResourceController.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace veltra {

/// Takes the path of the newest log after every write; the main controller is one.
class LogPathReceiver {
  public:
    virtual ~LogPathReceiver() = default;

    /// Called on the watcher thread.
    virtual void addpath(const QString& path) = 0;
};

/// What the watcher is given instead of looking it up itself.
struct VXStatusQueueSurroundings {
    NotificationCenter& notifications;
    Workspace& workspace;
    const VXStatusResourceController& resources;
    std::function<LogPathReceiver&()> pathReceiver; ///< asked on the watcher thread, each time
    AgentInstallation installation = {};
};

/// The file watcher: turns what happens to watched paths into notifications.
///
/// One thread waits for the kernel. For each change it posts a notification about the path on the
/// default and the workspace's centre, on the main thread, while it waits; and when a path was
/// written to or grew it posts "VXStatusNotification" on its own thread, whose object is a
/// dictionary with the full path of the newest log under "newLogFilePath". Paths are registered
/// and removed from any thread. The main thread must never wait for the watcher's thread.
class VXStatusQueueCentral : public QObject {
    Q_OBJECT

  public:
    /// Every kind of change.
    static constexpr std::uint32_t allNotes = 0x7F;

    /// A watcher on `queue`; its thread starts with the first path that is registered.
    /// Made on the main thread.
    VXStatusQueueCentral(std::unique_ptr<KernelQueue> queue,
                         VXStatusQueueSurroundings surroundings);

    /// A watcher on a new kernel queue; null when there is none to be had.
    [[nodiscard]] static std::unique_ptr<VXStatusQueueCentral>
    init(VXStatusQueueSurroundings surroundings);

    /// Stops the thread. Main thread only.
    ~VXStatusQueueCentral() override;

    /// Ends the thread and waits for that, carrying out meanwhile what it asks of the main thread.
    /// A path that is registered later starts it again. Main thread only.
    void stop();

    [[nodiscard]] int queueFD() const noexcept { return queue_->descriptor(); }

    /// Watches `path` for the changes in `notifyingAbout`, or for all of them. Every call is one
    /// more holder of the path; of a path that is watched already the changes add up.
    void addPath(const QString& path);
    void addPath(const QString& path, std::uint32_t notifyingAbout);

    /// The same, and returns the path's entry; null when the path cannot be opened.
    std::shared_ptr<VXStatusQueuePathEntry> addPathToQueue(const QString& path,
                                                           std::uint32_t notifyingAbout);

    /// One holder of the path less; the path is watched until the last one is gone. Ignores paths
    /// that are not watched.
    void removePath(const QString& path);

    /// Watches nothing any more, whoever holds it.
    void removeAllPaths();

    /// Takes a snapshot of the names in the log folder, whatever `path` says, and watches
    /// nothing. // sic
    void addFolerPath(const QString& path);
    [[nodiscard]] const std::vector<std::string>& filesinWatchedFolder() const noexcept
    {
        return filesinWatchedFolder_;
    }

    /// The entry of a watched path, null if it is not watched.
    [[nodiscard]] std::shared_ptr<VXStatusQueuePathEntry> entry(const QString& path) const;
    /// How many paths are watched.
    [[nodiscard]] std::size_t watchedFileCount() const;
    [[nodiscard]] bool keepThreadRunning() const noexcept { return keepThreadRunning_; }

    /// The watcher in words, without line breaks, indented by `indent` times four spaces.
    [[nodiscard]] QString descriptionWithLocale(const QString& locale, int indent) const;

    /// Posts a notification about `forFile` on both centres, on the main thread, and waits.
    void postNotification(const QString& name, const QString& forFile);

  private:
    using Entry = std::shared_ptr<VXStatusQueuePathEntry>;

    void submit(const Entry& entry, std::uint32_t notes);
    void startThreadOnce();
    void watcherThread();
    void handleNextEvent(KernelQueue& queue);
    void handle(const VXStatusQueuePathEntry& entry, std::uint32_t notes);
    void handleNote(std::uint32_t note, const QString& name, const QString& path);
    QString postNewestLog();

    std::shared_ptr<KernelQueue> queue_;
    VXStatusQueueSurroundings surroundings_;
    std::shared_ptr<VXStatusMainThread> sharedNotificationCenterProxy_;
    std::shared_ptr<VXStatusMainThread> oldSharedNotificationCenterProxy_; // the workspace's

    mutable std::recursive_mutex mutex_;
    std::map<QString, Entry> watchedFiles_;

    std::vector<std::string> filesinWatchedFolder_;
    std::atomic<bool> keepThreadRunning_ = false;
    std::future<void> thread_;
};

} // namespace veltra

#pragma once

#include "platform/base/AgentInstallation.h"
#include "platform/base/Error.h"
#include "platform/desktop/NotificationCenter.h"
#include "platform/desktop/VXStatusMainThread.h"
#include "platform/desktop/Workspace.h"
#include "platform/kqueue/KernelQueue.h"
#include "watch/VXStatusQueuePathEntry.h"
#include "watch/VXStatusResourceController.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace veltra {

/// Receives the path of the newest log after every write; the main controller does.
class LogPathReceiver {
  public:
    virtual ~LogPathReceiver() = default;

    /// Called on the watcher thread.
    virtual void addpath(const QString& path) = 0;
};

/// The watcher's dependencies.
struct VXStatusQueueDependencies {
    NotificationCenter& notifications;
    Workspace& workspace;
    const VXStatusResourceController& resources;
    std::function<LogPathReceiver&()> pathReceiver; ///< called on the watcher thread, each time
    AgentInstallation installation = {};
    std::chrono::milliseconds retryInterval{5000};
};

/// The file watcher: turns changes of watched paths into notifications.
///
/// One thread waits for the kernel. For each change it posts a notification about the path on the
/// default and the workspace's centre, on the main thread, and waits for that. If a path was
/// written to or grew, it also posts "VXStatusNotification" on its own thread; the object is a
/// dictionary with the full path of the newest log under "newLogFilePath". Paths can be registered
/// and removed from any thread. The main thread must never wait for the watcher's thread.
///
/// A path that cannot be watched because a limit of the system is used up is logged, and tried
/// again every few seconds. Once it is watched, what changed meanwhile is read.
class VXStatusQueueCentral : public QObject {
    Q_OBJECT

  public:
    /// Every kind of change.
    static constexpr std::uint32_t allNotes = 0x7F;

    /// A watcher on `queue`; its thread starts when the first path is registered. Create it on the
    /// main thread.
    VXStatusQueueCentral(std::unique_ptr<KernelQueue> queue,
                         VXStatusQueueDependencies dependencies);

    /// A watcher on a new kernel queue; null if the kernel cannot provide one, which is logged.
    [[nodiscard]] static std::unique_ptr<VXStatusQueueCentral>
    init(VXStatusQueueDependencies dependencies);

    /// Stops the thread. Main thread only.
    ~VXStatusQueueCentral() override;

    /// Ends the thread and waits for that; meanwhile runs the work that the thread asks the main
    /// thread for. Registering another path starts the thread again. Main thread only.
    void stop();

    /// Not used by the program itself; part of the interface.
    [[nodiscard]] int queueFD() const noexcept { return queue_->descriptor(); }

    /// Watches `path` for the changes in `notifyingAbout`, or for all changes. Every call adds a
    /// holder of the path; if the path is watched already, the changes are combined.
    void addPath(const QString& path);
    void addPath(const QString& path, std::uint32_t notifyingAbout);

    /// The same, but returns the path's entry; null if the path cannot be opened.
    std::shared_ptr<VXStatusQueuePathEntry> addPathToQueue(const QString& path,
                                                           std::uint32_t notifyingAbout);

    /// Removes one holder of the path; the path is watched until the last one is removed. Ignores
    /// paths that are not watched.
    void removePath(const QString& path);

    /// Stops watching all paths, whoever holds them.
    void removeAllPaths();

    /// Records the names in the log folder, ignoring `path`, and watches nothing. The program
    /// itself does not use the names; they are part of the interface.
    void addFolerPath(const QString& path); // sic
    [[nodiscard]] const std::vector<std::string>& filesinWatchedFolder() const noexcept
    {
        return filesinWatchedFolder_;
    }

    /// Whether a used-up limit keeps any path from being watched.
    [[nodiscard]] bool hasUnwatchedPaths() const;

    /// Announces the newest log, as after a write, because changes may have been missed.
    void catchUp();

    /// The entry of a watched path, null if it is not watched.
    [[nodiscard]] std::shared_ptr<VXStatusQueuePathEntry> entry(const QString& path) const;
    /// How many paths are watched.
    [[nodiscard]] std::size_t watchedFileCount() const;
    /// Whether the thread is to go on. Not used by the program itself; part of the interface.
    [[nodiscard]] bool keepThreadRunning() const noexcept { return keepThreadRunning_; }

    /// A description of the watcher, without line breaks, indented by `indent` times four spaces.
    /// Not used by the program itself; part of the interface.
    [[nodiscard]] QString descriptionWithLocale(const QString& locale, int indent) const;

    /// Posts a notification about `forFile` on both centres, on the main thread, and waits.
    void postNotification(const QString& name, const QString& forFile);

  private:
    using Entry = std::shared_ptr<VXStatusQueuePathEntry>;

    /// A path that a used-up limit keeps from being watched.
    struct Unwatched {
        QString path;
        std::vector<std::uint32_t> requests; // that are to be made again; none if there is an entry
        Error error;
        bool isLogged = false;
    };

    void submit(const Entry& entry, std::uint32_t notes);
    [[nodiscard]] Result<Entry> open(const QString& path, std::uint32_t notes) const;
    void keepForLater(const QString& path, const Error& error,
                      std::vector<std::uint32_t> requests = {});
    [[nodiscard]] bool isUnwatched(const QString& path) const;
    void tryAgainLater();
    void tryAgain();
    void startThreadOnce();
    void watcherThread();
    void handleNextEvent(KernelQueue& queue);
    void handle(const VXStatusQueuePathEntry& entry, std::uint32_t notes);
    void handleNote(std::uint32_t note, const QString& name, const QString& path);
    QString postNewestLog();

    std::shared_ptr<KernelQueue> queue_;
    VXStatusQueueDependencies dependencies_;
    std::shared_ptr<VXStatusMainThread> sharedNotificationCenterProxy_;
    std::shared_ptr<VXStatusMainThread> oldSharedNotificationCenterProxy_; // the workspace's

    mutable std::recursive_mutex mutex_;
    std::map<QString, Entry> watchedFiles_;
    std::vector<Unwatched> unwatched_; // in the order in which they were asked for
    QTimer nextTry_;                   // main thread only

    std::vector<std::string> filesinWatchedFolder_;
    std::atomic<bool> keepThreadRunning_ = false;
    std::atomic<bool> isBehind_ = false;
    std::future<void> thread_;
};

} // namespace veltra

#pragma once

#include "platform/base/AgentInstallation.h"
#include "platform/desktop/DistributedNotificationCenter.h"
#include "platform/desktop/NotificationCenter.h"
#include "watch/VXStatusQueueCentral.h"
#include "watch/VXStatusResourceController.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <chrono>
#include <functional>

namespace veltra {

/// The main controller's dependencies.
struct VXStatusMainDependencies {
    NotificationCenter& notifications;
    const VXStatusResourceController& resources;
    /// May return null, and is then asked again after a while.
    std::function<VXStatusQueueCentral*()> fileWatcher;
    AgentInstallation installation = {};
    std::chrono::milliseconds retryInterval{5000};
};

/// The program's main controller: lists the agent's logs, has them and their folder watched, and
/// ends the program when a window closes. Main thread only, except for addpath().
class VXStatusMainVC : public QObject, public LogPathReceiver {
    Q_OBJECT
    Q_PROPERTY(QString initalFilePath READ initalFilePath WRITE setInitalFilePath) // sic

  public:
    /// The instance that the table controller and the file watcher use. It is not the one that the
    /// window's interface creates: it is never woken, so it has no file watcher and its addpath()
    /// does nothing. Created on first use; may be called from any thread.
    static VXStatusMainVC& sharedVXStatusMainVC();

    /// Lists the logs and determines which one is the newest.
    explicit VXStatusMainVC(VXStatusMainDependencies dependencies);

    /// Registers for the notifications that end the program or bring it to the front, and watches
    /// the logs found by the constructor and their folder.
    void awakeFromNib();

    /// Brings the program to the front; called once the event loop runs.
    void applicationDidFinishLaunching();

    /// Also watches `path`, if this controller has a file watcher. May be called from any thread.
    void addpath(const QString& path) override;

    /// Ends the program.
    void windowWillClose(const Notification& notification);

    /// Brings the program to the front if `name` asks for that.
    void handleVXStatusMonitorNotification(const QString& name);

    /// The full path of the log that was the newest when the controller was created.
    [[nodiscard]] const QString& initalFilePath() const noexcept { return initalFilePath_; } // sic
    /// Not used by the program itself; part of the interface.
    void setInitalFilePath(const QString& path) { initalFilePath_ = path; } // sic

    /// The names of the agent's logs when the controller was created.
    /// Not used by the program itself; part of the interface.
    [[nodiscard]] const QStringList& logFiles() const noexcept { return logFiles_; }

    /// Not used by the program itself; part of the interface.
    [[nodiscard]] QWidget* mainWindow() const { return mainWindow_; }
    void setMainWindow(QWidget* window) { mainWindow_ = window; }

  private:
    void listLogFiles();
    void watchLogs();
    void watch(const QStringList& paths);
    void watchLogsLater();
    [[nodiscard]] QStringList logsNewestFirst() const;
    void activate();

    VXStatusMainDependencies dependencies_;
    VXStatusQueueCentral* logFilesQ_ = nullptr;
    QString initalFilePath_;
    QPointer<QWidget> mainWindow_;
    QStringList logFiles_;
    NotificationCenter::Registration windowRegistration_;
    DistributedNotificationCenter::Registration launchRegistration_;
};

} // namespace veltra

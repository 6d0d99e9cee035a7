#include "app/VXStatusMainVC.h"

#include "app/window/MainWindow.h"
#include "platform/base/Folder.h"
#include "platform/desktop/FileName.h"
#include "watch/VXStatusQueue.h"

#include <QCoreApplication>
#include <QTimer>

#include <map>
#include <string>
#include <utility>

namespace veltra {

namespace {

const QString launchNotification = QStringLiteral("VXStatusMonitorAppLaunchNotification");

} // namespace

VXStatusMainVC& VXStatusMainVC::sharedVXStatusMainVC()
{
    static VXStatusMainVC shared{
        {.notifications = NotificationCenter::defaultCenter(),
         .resources = VXStatusResourceController::sharedVXStatusResourceController(),
         .fileWatcher = &VXStatusQueue::sharedFileWatcher}};
    return shared;
}

VXStatusMainVC::VXStatusMainVC(VXStatusMainDependencies dependencies)
    : dependencies_{std::move(dependencies)}
{
    listLogFiles();
    initalFilePath_ = pathFromBytes(dependencies_.installation.logFolder) +
                      dependencies_.resources.getLogFileName();
}

void VXStatusMainVC::listLogFiles()
{
    const auto names = contentsOfDirectory(dependencies_.installation.logFolder);
    if (!names)
        return;
    for (const std::string& name : names.value())
        if (VXStatusResourceController::isLogFileName(name))
            logFiles_.append(pathFromBytes(name));
}

void VXStatusMainVC::awakeFromNib()
{
    windowRegistration_ = dependencies_.notifications.addObserver(
        MainWindow::willCloseNotification, nullptr,
        [this](const Notification& notification) { windowWillClose(notification); });
    watchLogs();
    launchRegistration_ =
        DistributedNotificationCenter::addObserver(launchNotification, [this](const QString& name) {
            handleVXStatusMonitorNotification(name);
        });
}

void VXStatusMainVC::watchLogs()
{
    logFilesQ_ = dependencies_.fileWatcher();
    if (!logFilesQ_) {
        watchLogsLater();
        return;
    }
    const QString folder = pathFromBytes(dependencies_.installation.logFolder);
    QStringList paths;
    for (const QString& name : logFiles_)
        paths.append(folder + name);
    watch(paths + QStringList{folder});
    // Something must be left out. The folder tells of every log, and old logs do not change.
    if (logFilesQ_->hasUnwatchedPaths()) {
        for (const QString& path : paths + QStringList{folder})
            logFilesQ_->removePath(path);
        watch(QStringList{folder} + logsNewestFirst());
    }
    logFilesQ_->addFolerPath(folder);
}

void VXStatusMainVC::watch(const QStringList& paths)
{
    for (const QString& path : paths)
        logFilesQ_->addPath(path);
}

void VXStatusMainVC::watchLogsLater()
{
    QTimer::singleShot(dependencies_.retryInterval, this, [this] {
        watchLogs();
        // What was written meanwhile has not been read.
        if (logFilesQ_)
            logFilesQ_->catchUp();
    });
}

QStringList VXStatusMainVC::logsNewestFirst() const
{
    const std::string& folder = dependencies_.installation.logFolder;
    std::multimap<std::chrono::nanoseconds, QString, std::greater<>> byDate;
    for (const QString& name : logFiles_) {
        const std::string path = folder + bytesOfPath(name);
        const auto date = modificationDate(path);
        byDate.emplace(date ? date.value() : std::chrono::nanoseconds::min(), pathFromBytes(path));
    }
    QStringList paths;
    for (const auto& [date, path] : byDate)
        paths.append(path);
    return paths;
}

void VXStatusMainVC::applicationDidFinishLaunching()
{
    activate();
}

void VXStatusMainVC::addpath(const QString& path)
{
    if (logFilesQ_)
        logFilesQ_->addPath(path);
}

void VXStatusMainVC::windowWillClose(const Notification& /*notification*/)
{
    QCoreApplication::quit();
}

void VXStatusMainVC::handleVXStatusMonitorNotification(const QString& name)
{
    if (name == launchNotification)
        activate();
}

void VXStatusMainVC::activate()
{
    if (!mainWindow_)
        return;
    mainWindow_->setWindowState(mainWindow_->windowState() & ~Qt::WindowMinimized);
    mainWindow_->show();
    mainWindow_->raise();
    mainWindow_->activateWindow();
}

} // namespace veltra

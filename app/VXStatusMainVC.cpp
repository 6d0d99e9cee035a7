#include "app/VXStatusMainVC.h"

#include "app/MainWindow.h"
#include "platform/base/Folder.h"
#include "watch/VXStatusQueue.h"

#include <QCoreApplication>

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
    initalFilePath_ = QString::fromStdString(dependencies_.installation.logFolder) +
                      dependencies_.resources.getLogFileName();
}

void VXStatusMainVC::listLogFiles()
{
    const auto names = contentsOfDirectory(dependencies_.installation.logFolder);
    if (!names)
        return;
    for (const std::string& name : names.value())
        if (VXStatusResourceController::isLogFileName(name))
            logFiles_.append(QString::fromStdString(name));
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
    if (!logFilesQ_)
        return;
    const QString folder = QString::fromStdString(dependencies_.installation.logFolder);
    for (const QString& name : logFiles_)
        logFilesQ_->addPath(folder + name);
    logFilesQ_->addPath(folder);
    logFilesQ_->addFolerPath(folder);
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

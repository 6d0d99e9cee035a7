#include "app/MainInterface.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/base/AgentInstallation.h"
#include "platform/log/SystemLog.h"
#include "watch/VXStatusQueue.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QStandardPaths>

#include <chrono>
#include <cstdlib>

namespace veltra {

namespace {

VXStatusResourceController& resources()
{
    return VXStatusResourceController::sharedVXStatusResourceController();
}

VXStatusMainDependencies mainDependencies()
{
    return {.notifications = NotificationCenter::defaultCenter(),
            .resources = resources(),
            .fileWatcher = &VXStatusQueue::sharedFileWatcher};
}

void endProcess()
{
    // Not without limit: nobody may read standard error.
    SystemLog::shared().drain(std::chrono::seconds{5});
    std::_Exit(EXIT_SUCCESS);
}

VXStatusTableDependencies tableDependencies(HelperControllers& helperControllers)
{
    return {
        .notifications = NotificationCenter::defaultCenter(),
        .resources = resources(),
        .mainBundle = Bundle::mainBundle(),
        .initalFilePath = [] { return VXStatusMainVC::sharedVXStatusMainVC().initalFilePath(); },
        .helperController = [&helperControllers] { return helperControllers.make(); },
        .helperTool = QStringLiteral("/Library/PrivilegedHelperTools/") +
                      QString::fromUtf8(HelperConstants::machServiceName),
        .endProcess = endProcess};
}

VXStatusButtonDependencies buttonDependencies(HelperControllers& helperControllers)
{
    return {.resources = resources(),
            .helperController = [&helperControllers] { return helperControllers.make(); },
            .logFolder = QString::fromStdString(AgentInstallation{}.logFolder),
            .desktopFolder = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation)};
}

} // namespace

MainInterface::QtTexts::QtTexts()
{
    const QString language = resources().getLocalisedString(QStringLiteral("LANGUAGE"));
    if (translator.load(QStringLiteral("qtbase_") + language,
                        QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
}

MainInterface::MainInterface()
    : toolOutput_{[this](const QString& text) { window_.toolOutput()->add(text); }},
      helperControllers_{[this](const QString& text) { toolOutput_.add(text); }},
      window_{NotificationCenter::defaultCenter()}, mainVC_{mainDependencies()},
      tableVC_{tableDependencies(helperControllers_)},
      button_{buttonDependencies(helperControllers_)}, monitorWC_{resources()}
{
    VXStatusQueue::setLogPathReceiver(
        []() -> LogPathReceiver& { return VXStatusMainVC::sharedVXStatusMainVC(); });
    connectTable(window_, tableVC_);
    connectButtons();
    connectWindow();
    awake();
}

MainInterface::WatcherThread::~WatcherThread()
{
    if (VXStatusQueueCentral* watcher = VXStatusQueue::sharedFileWatcher())
        watcher->stop();
}

void MainInterface::connectTable(MainWindow& window, VXStatusTableVC& tableVC)
{
    tableVC.setTableview(window.table());
    tableVC.setActivityIndicator(window.activityIndicator());
    tableVC.setLabel(window.statusLabel());
    tableVC.setStatusImg(window.statusImage());
    tableVC.setVersionlabel(window.versionLabel());
    tableVC.setZelServerIpLabel(window.serverLabel());
    tableVC.setEmptyTableLabel(window.emptyTableLabel());
    tableVC.setFooter(window.footer());
    window.table()->layOutColumns();
}

void MainInterface::connectButtons()
{
    const auto buttons = window_.buttons();
    button_.setButton(buttons[0]);
    button_.setButton1(buttons[1]);
    button_.setButton2(buttons[2]);
    button_.setButton3(buttons[3]);
    button_.setButton4(buttons[4]);
    button_.setButton5(buttons[5]);
    button_.setFooter(window_.footer());
    button_.setToolOutput(window_.toolOutput());
    using Action = void (VXStatusButton::*)(QObject*);
    const auto connectAction = [this](QPushButton* button, Action action) {
        QObject::connect(button, &QPushButton::clicked, &button_,
                         [this, button, action] { (button_.*action)(button); });
    };
    connectAction(buttons[0], &VXStatusButton::collectAndSend);
    connectAction(buttons[1], &VXStatusButton::sendEvents);
    connectAction(buttons[2], &VXStatusButton::checkNewPolicies);
    connectAction(buttons[3], &VXStatusButton::enforcePolicies);
    connectAction(buttons[4], &VXStatusButton::saveContentsToDesktop);
    connectAction(buttons[5], &VXStatusButton::close);
}

void MainInterface::connectWindow()
{
    window_.setTexts(resources());
    mainVC_.setMainWindow(&window_);
    monitorWC_.setMainWindow(&window_);
}

void MainInterface::awake()
{
    mainVC_.awakeFromNib();
    tableVC_.awakeFromNib();
    button_.awakeFromNib();
    monitorWC_.windowDidLoad();
}

void MainInterface::applicationDidFinishLaunching()
{
    mainVC_.applicationDidFinishLaunching();
}

} // namespace veltra

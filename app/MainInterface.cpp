#include "app/MainInterface.h"

#include "watch/VXStatusQueue.h"

namespace veltra {

namespace {

VXStatusResourceController& resources()
{
    return VXStatusResourceController::sharedVXStatusResourceController();
}

VXStatusMainSurroundings mainSurroundings()
{
    return {.notifications = NotificationCenter::defaultCenter(),
            .resources = resources(),
            .fileWatcher = &VXStatusQueue::sharedFileWatcher};
}

VXStatusTableSurroundings tableSurroundings()
{
    return {
        .notifications = NotificationCenter::defaultCenter(),
        .resources = resources(),
        .mainBundle = Bundle::mainBundle(),
        .initalFilePath = [] { return VXStatusMainVC::sharedVXStatusMainVC().initalFilePath(); }};
}

} // namespace

MainInterface::MainInterface()
    : window_{NotificationCenter::defaultCenter()}, mainVC_{mainSurroundings()},
      tableVC_{tableSurroundings()}, button_{resources()}, monitorWC_{resources()}
{
    VXStatusQueue::setLogPathReceiver(
        []() -> LogPathReceiver& { return VXStatusMainVC::sharedVXStatusMainVC(); });
    connectTable();
    connectButtons();
    connectWindow();
    awake();
}

MainInterface::WatcherThread::~WatcherThread()
{
    if (VXStatusQueueCentral* watcher = VXStatusQueue::sharedFileWatcher())
        watcher->stop();
}

void MainInterface::connectTable()
{
    tableVC_.setTableview(window_.table());
    tableVC_.setActivityIndicator(window_.activityIndicator());
    tableVC_.setLabel(window_.statusLabel());
    tableVC_.setStatusImg(window_.statusImage());
    tableVC_.setVersionlabel(window_.versionLabel());
    tableVC_.setZelServerIpLabel(window_.serverLabel());
    window_.table()->layOutColumns();
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
    QObject::connect(buttons[5], &QPushButton::clicked, &button_,
                     [this] { button_.close(&window_); });
}

void MainInterface::connectWindow()
{
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

#include "bench/WindowOnLog.h"

#include <unistd.h>

namespace veltra {

WindowOnLog::WindowOnLog(const std::string& logFolder)
    : installation_{.logFolder = logFolder}, watcher_{VXStatusQueueCentral::init(
                                                 {.notifications = helper_.notifications,
                                                  .workspace = Workspace::sharedWorkspace(),
                                                  .resources = resources_,
                                                  .pathReceiver = [this]() -> LogPathReceiver& {
                                                      return receiver_;
                                                  },
                                                  .installation = installation_})},
      mainVC_{{.notifications = helper_.notifications,
               .resources = resources_,
               .fileWatcher = [this] { return watcher_.get(); },
               .installation = installation_}},
      tableVC_{tableSurroundings()}
{
    connectTable();
    mainVC_.setMainWindow(&window_);
    mainVC_.awakeFromNib();
    tableVC_.awakeFromNib();
}

VXStatusTableSurroundings WindowOnLog::tableSurroundings()
{
    return {.notifications = helper_.notifications,
            .resources = resources_,
            .mainBundle = nullptr,
            .initalFilePath = [this] { return mainVC_.initalFilePath(); },
            .helperController = [this] { return helper_.makeController(); },
            .helperTool = QStringLiteral("/proc/self/exe"),
            .endProcess = {},
            .agentProcess = {.processQuery = "echo " + std::to_string(::getpid()), .service = ""}};
}

void WindowOnLog::connectTable()
{
    tableVC_.setTableview(window_.table());
    tableVC_.setActivityIndicator(window_.activityIndicator());
    tableVC_.setLabel(window_.statusLabel());
    tableVC_.setStatusImg(window_.statusImage());
    tableVC_.setVersionlabel(window_.versionLabel());
    tableVC_.setZelServerIpLabel(window_.serverLabel());
    window_.table()->layOutColumns();
}

} // namespace veltra

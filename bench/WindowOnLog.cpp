#include "bench/WindowOnLog.h"

#include "app/MainInterface.h"

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
      tableVC_{tableDependencies()}
{
    MainInterface::connectTable(window_, tableVC_);
    mainVC_.setMainWindow(&window_);
    mainVC_.awakeFromNib();
    tableVC_.awakeFromNib();
}

VXStatusTableDependencies WindowOnLog::tableDependencies()
{
    return {.notifications = helper_.notifications,
            .resources = resources_,
            .mainBundle = nullptr,
            .initalFilePath = [this] { return mainVC_.initalFilePath(); },
            .helperController = [this] { return helper_.makeController(); },
            .helperTool = QStringLiteral("/proc/self/exe"),
            .endProcess = {},
            .agentProcess = {.processQuery = "echo " + std::to_string(::getpid()),
                             .service = "",
                             .owner = ::getuid()}};
}

} // namespace veltra

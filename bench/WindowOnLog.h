#pragma once

#include "app/MainWindow.h"
#include "app/VXStatusMainVC.h"
#include "app/VXStatusTableVC.h"
#include "channel/client/tests/HelperTesting.h"
#include "watch/VXStatusQueueCentral.h"

#include <memory>
#include <string>

namespace veltra {

/// The program's window, its controllers and its file watcher over the logs of a folder of a
/// benchmark's own, put together as the program does it; but nobody presses the buttons, and the
/// helper says nothing. This process stands in for the agent's service, so that one runs.
/// Main thread only.
class WindowOnLog {
  public:
    /// Begins to read the newest log in `logFolder`, which ends with a slash, and to watch it. The
    /// window is not shown yet.
    explicit WindowOnLog(const std::string& logFolder);
    WindowOnLog(const WindowOnLog&) = delete;
    WindowOnLog& operator=(const WindowOnLog&) = delete;

    void show() { mainVC_.applicationDidFinishLaunching(); }

    /// Whether a pass has yet to be shown.
    [[nodiscard]] bool isReading() const { return window_.activityIndicator()->isAnimating(); }
    [[nodiscard]] LogTableView& table() const { return *window_.table(); }
    [[nodiscard]] LogTableModel& rows() noexcept { return tableVC_.list(); }

  private:
    /// As in the program, where nobody wants the newest log's path.
    class NoReceiver : public LogPathReceiver {
      public:
        void addpath(const QString& /*path*/) override {}
    };

    [[nodiscard]] VXStatusTableSurroundings tableSurroundings();

    AgentInstallation installation_;
    VXStatusResourceController resources_{installation_, nullptr};
    FakeHelperSurroundings helper_{""};
    NoReceiver receiver_;
    std::unique_ptr<VXStatusQueueCentral> watcher_; // goes after the table controller
    MainWindow window_{helper_.notifications};
    VXStatusMainVC mainVC_;
    VXStatusTableVC tableVC_;
};

} // namespace veltra

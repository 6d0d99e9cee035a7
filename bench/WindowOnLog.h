#pragma once

#include "app/VXStatusMainVC.h"
#include "app/VXStatusTableVC.h"
#include "app/window/MainWindow.h"
#include "channel/client/tests/HelperTesting.h"
#include "watch/VXStatusQueueCentral.h"

#include <memory>
#include <string>

namespace veltra {

/// The program's window, its controllers and its file watcher, reading logs from the benchmark's
/// own folder. They are assembled as in the program, but nobody presses the buttons and the helper
/// sends nothing. This process stands in for the agent's service, which therefore counts as
/// running. Main thread only.
class WindowOnLog {
  public:
    /// Starts to read and watch the newest log in `logFolder`, which must end with a slash. The
    /// window is not shown yet.
    explicit WindowOnLog(const std::string& logFolder);
    WindowOnLog(const WindowOnLog&) = delete;
    WindowOnLog& operator=(const WindowOnLog&) = delete;

    void show() { mainVC_.applicationDidFinishLaunching(); }

    /// Whether a pass has not been shown yet.
    [[nodiscard]] bool isReading() const { return window_.activityIndicator()->isAnimating(); }
    [[nodiscard]] LogTableView& table() const { return *window_.table(); }
    [[nodiscard]] LogTableModel& rows() noexcept { return tableVC_.list(); }

  private:
    /// As in the program, nobody needs the newest log's path.
    class NoReceiver : public LogPathReceiver {
      public:
        void addpath(const QString& /*path*/) override {}
    };

    [[nodiscard]] VXStatusTableDependencies tableDependencies();

    AgentInstallation installation_;
    VXStatusResourceController resources_{installation_, nullptr};
    FakeHelperDependencies helper_{""};
    NoReceiver receiver_;
    std::unique_ptr<VXStatusQueueCentral> watcher_; // destroyed after the table controller
    MainWindow window_{helper_.notifications};
    VXStatusMainVC mainVC_;
    VXStatusTableVC tableVC_;
};

} // namespace veltra

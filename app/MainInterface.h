#pragma once

#include "app/HelperControllers.h"
#include "app/MainWindow.h"
#include "app/VXStatusButton.h"
#include "app/VXStatusMainVC.h"
#include "app/VXStatusMonitorWC.h"
#include "app/VXStatusTableVC.h"

namespace veltra {

/// The window and its controllers, made, connected with each other and woken in that order.
/// Main thread only.
class MainInterface {
  public:
    MainInterface();
    MainInterface(const MainInterface&) = delete;
    MainInterface& operator=(const MainInterface&) = delete;

    /// Shows the window in front of all others.
    void applicationDidFinishLaunching();

    /// Gives the table's controller its outlets in the window.
    static void connectTable(MainWindow& window, VXStatusTableVC& tableVC);

  private:
    void connectButtons();
    void connectWindow();
    void awake();

    /// Ends the file watcher's thread, last of all: it waits for a pass that runs there, and the
    /// table controller's end cuts that short.
    struct WatcherThread {
        ~WatcherThread();
    };

    WatcherThread watcherThread_;
    HelperControllers helperControllers_;
    MainWindow window_;
    VXStatusMainVC mainVC_;
    VXStatusTableVC tableVC_;
    VXStatusButton button_;
    VXStatusMonitorWC monitorWC_;
};

} // namespace veltra

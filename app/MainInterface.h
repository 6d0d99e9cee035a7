#pragma once

#include "app/HelperControllers.h"
#include "app/MainWindow.h"
#include "app/VXStatusButton.h"
#include "app/VXStatusMainVC.h"
#include "app/VXStatusMonitorWC.h"
#include "app/VXStatusTableVC.h"

namespace veltra {

/// The window and its controllers, which are created, connected with each other and woken, in that
/// order. Main thread only.
class MainInterface {
  public:
    MainInterface();
    MainInterface(const MainInterface&) = delete;
    MainInterface& operator=(const MainInterface&) = delete;

    /// Brings the window to the front.
    void applicationDidFinishLaunching();

    /// Connects the table controller's outlets to the window.
    static void connectTable(MainWindow& window, VXStatusTableVC& tableVC);

  private:
    void connectButtons();
    void connectWindow();
    void awake();

    /// Ends the file watcher's thread, last of all: it waits for a pass that runs there, which the
    /// destruction of the table controller cuts short.
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

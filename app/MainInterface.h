#pragma once

#include "app/HelperControllers.h"
#include "app/VXStatusButton.h"
#include "app/VXStatusMainVC.h"
#include "app/VXStatusMonitorWC.h"
#include "app/VXStatusTableVC.h"
#include "app/window/MainWindow.h"
#include "app/window/ToolOutput.h"

#include <QTranslator>

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

    /// Qt's own texts, such as those of context menus, in the language of the program's.
    struct QtTexts {
        QtTexts();

        QTranslator translator;
    };

    WatcherThread watcherThread_;
    QtTexts qtTexts_;
    ToolOutput toolOutput_;
    HelperControllers helperControllers_;
    MainWindow window_;
    VXStatusMainVC mainVC_;
    VXStatusTableVC tableVC_;
    VXStatusButton button_;
    VXStatusMonitorWC monitorWC_;
};

} // namespace veltra

#pragma once

#include "watch/VXStatusResourceController.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace veltra {

/// The controller of the main window. Main thread only.
class VXStatusMonitorWC : public QObject {
    Q_OBJECT

  public:
    explicit VXStatusMonitorWC(const VXStatusResourceController& resources);

    /// Not used by the program itself; part of the interface.
    [[nodiscard]] QWidget* mainWindow() const { return mainWindow_; }
    void setMainWindow(QWidget* window) { mainWindow_ = window; }

    /// Called once the window exists: sets its title.
    void windowDidLoad();

  private:
    const VXStatusResourceController& resources_;
    QPointer<QWidget> mainWindow_;
};

} // namespace veltra

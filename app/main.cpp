#include "app/MainInterface.h"
#include "app/WindowPalette.h"
#include "platform/desktop/MainQueue.h"

#include <QApplication>
#include <QTimer>

int main(int argc, char** argv)
{
    QApplication application{argc, argv};
    QApplication::setApplicationName(QStringLiteral("VeltraAgentStatusMonitor"));
    QApplication::setDesktopFileName(QStringLiteral("com.veltra.vxStatusMonitorApp"));

    const veltra::WindowPalette palette;
    veltra::MainInterface interface;
    QTimer::singleShot(0, [&interface] { interface.applicationDidFinishLaunching(); });
    const int status = QApplication::exec();
    veltra::MainQueue::close();
    return status;
}

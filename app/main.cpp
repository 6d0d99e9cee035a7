#include "app/MainInterface.h"
#include "app/WindowPalette.h"
#include "platform/desktop/MainQueue.h"

#include <QApplication>
#include <QTimer>

#include <sys/prctl.h>

int main(int argc, char** argv)
{
    // Otherwise other programs of the same user could take the connection to the helper out of this
    // one; see pidfd_getfd(2).
    ::prctl(PR_SET_DUMPABLE, 0);

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

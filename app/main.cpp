#include "app/EndSignals.h"
#include "app/MainInterface.h"
#include "app/ProcessSetUp.h"
#include "app/WindowPalette.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <QApplication>
#include <QTimer>

#include <sys/prctl.h>

namespace {

int run(int argc, char** argv, const veltra::EndSignals& signals)
{
    QApplication application{argc, argv};
    QApplication::setApplicationName(QStringLiteral("VeltraAgentStatusMonitor"));
    QApplication::setDesktopFileName(QStringLiteral("com.veltra.vxStatusMonitorApp"));

    const veltra::WindowPalette palette;
    const auto onSignal = signals.quitApplication();
    veltra::MainInterface interface;
    QTimer::singleShot(0, [&interface] { interface.applicationDidFinishLaunching(); });
    const int status = veltra::EndSignals::hasCome() ? 0 : QApplication::exec();
    veltra::MainQueue::close();
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    // Otherwise other programs of the same user could take the connection to the helper out of this
    // one; see pidfd_getfd(2).
    ::prctl(PR_SET_DUMPABLE, 0);

    veltra::setUpProcess();
    const veltra::EndSignals signals;
    const int status = run(argc, argv, signals);
    veltra::EndSignals::endProcess(veltra::SystemLog::shared());
    return status;
}

#include "app/EndSignals.h"
#include "app/MainInterface.h"
#include "app/ProcessSetUp.h"
#include "app/window/WindowPalette.h"
#include "platform/desktop/Bundle.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>

#include <array>

#include <sys/prctl.h>
#include <unistd.h>

namespace {

QIcon programIcon()
{
    QIcon icon;
    if (const auto bundle = veltra::Bundle::mainBundle())
        for (const char* const size : {"32", "64", "128"})
            icon.addFile(bundle->resourcePath() +
                         QStringLiteral("/icon-%1.png").arg(QLatin1String{size}));
    return icon;
}

int run(int argc, char** argv, const veltra::EndSignals& signals)
{
    // The program takes no options, and neither does Qt.
    std::array<char*, 2> name{argc > 0 ? argv[0] : nullptr, nullptr};
    int count = argc > 0 ? 1 : 0;
    QApplication application{count, name.data()};
    QApplication::setApplicationName(QStringLiteral("VeltraAgentStatusMonitor"));
    QApplication::setDesktopFileName(QStringLiteral("com.veltra.vxStatusMonitorApp"));
    QApplication::setWindowIcon(programIcon());

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
    // one; see pidfd_getfd(2). Root's can do so anyway, and in a container the helper may lack the
    // capability to look at a program that cannot be dumped.
    if (::getuid() != 0)
        ::prctl(PR_SET_DUMPABLE, 0);

    veltra::setUpProcess();
    const veltra::EndSignals signals;
    const int status = run(argc, argv, signals);
    veltra::EndSignals::endProcess(veltra::SystemLog::shared());
    return status;
}

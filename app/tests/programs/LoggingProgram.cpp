// LoggingProgram LINES: logs that many lines to standard error, says on standard output that it is
// ready, and runs its event loop until a signal ends it, as the status monitor's main function
// does.

#include "app/EndSignals.h"
#include "app/ProcessSetUp.h"
#include "platform/log/SystemLog.h"

#include <QCoreApplication>

#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

int main(int argc, char** argv)
{
    veltra::setUpProcess();
    const veltra::EndSignals signals;
    veltra::SystemLog log{veltra::makeStreamSink(STDERR_FILENO)};
    {
        QCoreApplication application{argc, argv};
        const auto onSignal = signals.quitApplication();
        for (int line = 0; line < std::atoi(argv[1]); ++line)
            log.write({"line ", std::to_string(line)});
        if (::write(STDOUT_FILENO, "!", 1) != 1)
            return EXIT_FAILURE;
        if (!veltra::EndSignals::hasCome())
            QCoreApplication::exec();
        log.write({"ended in order"});
    }
    veltra::EndSignals::endProcess(log);
    return EXIT_SUCCESS;
}

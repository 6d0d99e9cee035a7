// WatchProcess PID: waits for the exit of a process, and reports when it starts waiting and when
// the process has exited.

#include "platform/desktop/ProcessExitWatch.h"

#include <QCoreApplication>

#include <cstdio>

#include <unistd.h>

int main(int argc, char** argv)
{
    const QCoreApplication application{argc, argv};
    const auto watch =
        veltra::ProcessExitWatch::open(QCoreApplication::arguments().value(1).toInt(), [] {
            std::puts("exited");
            QCoreApplication::quit();
        });
    if (!watch) {
        std::fprintf(stderr, "%s\n", watch.error().message().c_str());
        return 1;
    }
    std::printf("watching as %u\n", ::geteuid());
    std::fflush(stdout);
    return QCoreApplication::exec();
}

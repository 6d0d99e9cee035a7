// Presses a button of the window a thousand times, and prints what each press costs permanently:
// "BYTES THREADS DESCRIPTORS". The bytes are memory that was allocated and not freed, rounded to
// whole bytes for each press.
#include "app/HelperControllers.h"
#include "app/VXStatusButton.h"

#include <QApplication>

#include <cstdio>
#include <filesystem>
#include <iterator>

#include <malloc.h>

namespace {

using namespace veltra;

constexpr int pressesAtOnce = 10;

struct Cost {
    std::size_t bytes;
    long threads;
    long descriptors;
};

long entries(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator{folder}, {});
}

Cost costSoFar()
{
    return {::mallinfo2().uordblks, entries("/proc/self/task"), entries("/proc/self/fd")};
}

void press(CommandButton& button, int times)
{
    for (int left = times; left > 0; left -= pressesAtOnce) {
        for (int i = 0; i < pressesAtOnce; ++i)
            button.click();
        while (button.runningCommands() > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int presses = 1000;
    const QApplication application{argc, argv};
    const AgentInstallation installation;
    const VXStatusResourceController resources{installation};
    HelperControllers controllers{[](const QString&) {}};
    VXStatusButton buttons{{.resources = resources,
                            .helperController = [&] { return controllers.make(); },
                            .logFolder = {},
                            .desktopFolder = {}}};
    CommandButton button;
    buttons.setButton(&button);
    QObject::connect(&button, &CommandButton::clicked, &buttons,
                     [&] { buttons.collectAndSend(&button); });

    press(button, presses / 10);
    const Cost before = costSoFar();
    press(button, presses);
    const Cost after = costSoFar();
    std::printf("%zd %ld %ld\n",
                (static_cast<ssize_t>(after.bytes) - static_cast<ssize_t>(before.bytes)) / presses,
                after.threads - before.threads, after.descriptors - before.descriptors);
}

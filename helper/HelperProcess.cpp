#include "helper/HelperProcess.h"

#include "platform/base/Fd.h"
#include "platform/log/SystemLog.h"

#include <csignal>
#include <cstdlib>
#include <utility>

#include <sys/signalfd.h>
#include <unistd.h>

namespace veltra {

namespace {

// From here on, signals do not kill the process. systemd sends one as soon as the name is released,
// while the remaining calls are still being answered.
Fd blockEndingSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    return Fd{::signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK)};
}

} // namespace

int runHelperProcess(Helper::Setting setting)
{
    const Fd signals = blockEndingSignals();
    auto opened = EventLoop::open(&SystemLog::logThrown);
    if (!opened) {
        SystemLog::log(opened.error().message());
        return EXIT_FAILURE;
    }
    const std::shared_ptr<EventLoop> loop = std::move(opened.value());
    Helper helper{loop, std::move(setting)};
    const auto ending = loop->watch(signals.get(), [&] {
        signalfd_siginfo signal{};
        if (::read(signals.get(), &signal, sizeof signal) == sizeof signal)
            helper.quit();
    });
    const auto served = helper.run();
    if (!served)
        SystemLog::log(served.error().message());
    return served ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace veltra

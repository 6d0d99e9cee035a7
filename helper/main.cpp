#include "helper/Helper.h"
#include "helper/InfoPlist.h"
#include "platform/PropertyList.h"
#include "platform/SystemLog.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <utility>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

using namespace veltra;

std::string ownVersion()
{
    const auto info = PropertyList::parse(embeddedInfoPlist());
    return info ? info.value().text("CFBundleShortVersionString").value_or("") : "";
}

// From here on a signal ends nothing: also not while the helper answers what is left.
Fd blockEndingSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    return Fd{::signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK)};
}

int serve()
{
    const Fd signals = blockEndingSignals();
    auto opened = PollLoop::open();
    if (!opened) {
        SystemLog::log(opened.error().message());
        return EXIT_FAILURE;
    }
    const std::shared_ptr<PollLoop> loop = std::move(opened.value());
    Helper helper{loop, {.agent = {}, .version = ownVersion()}};
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

} // namespace

int main()
{
    const int status = serve();
    SystemLog::shared().drain();
    // A thread that looks at a client may be held up by a file system for ever.
    std::_Exit(status);
}

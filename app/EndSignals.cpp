#include "app/EndSignals.h"

#include <QCoreApplication>

#include <atomic>
#include <csignal>
#include <initializer_list>
#include <utility>

#include <unistd.h>

namespace veltra {

namespace {

constexpr unsigned patience = 5; // seconds

// What the handlers need. All that they may use is free of locks.
std::atomic<int> endSignal = 0;
EventFd* wakeUp = nullptr;

void endBy(int signal) noexcept
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void endAtLast(int /*alarm*/)
{
    endBy(endSignal);
}

void begin(int signal)
{
    int none = 0;
    if (!endSignal.compare_exchange_strong(none, signal))
        return;

    ::alarm(patience);
    wakeUp->signal();
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN)
        return;

    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

} // namespace

EndSignals::EndSignals() : wakeUp_{std::move(EventFd::open().value())}
{
    wakeUp = &wakeUp_;
    std::signal(SIGALRM, endAtLast);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        handle(signal, begin);
}

bool EndSignals::hasCome() noexcept
{
    return endSignal != 0;
}

std::unique_ptr<QSocketNotifier> EndSignals::quitApplication() const
{
    auto notifier = std::make_unique<QSocketNotifier>(wakeUp_.descriptor(), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [watched = notifier.get()] {
                         watched->setEnabled(false);
                         QCoreApplication::quit();
                     });
    return notifier;
}

void EndSignals::endProcess(SystemLog& log)
{
    if (!hasCome())
        return;

    log.drain();
    endBy(endSignal);
}

} // namespace veltra

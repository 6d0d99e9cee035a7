// The stand-in agent service of the demonstration. Takes no arguments; SIGTERM ends it.

#include "demo/AgentControl.h"
#include "demo/StandInAgent.h"
#include "platform/base/AgentInstallation.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>
#include <random>

#include <poll.h>
#include <sys/signalfd.h>

namespace {

using namespace veltra;
using Clock = std::chrono::steady_clock;

int complain(const Error& error)
{
    std::fprintf(stderr, "vxsvc: %s\n", error.message().c_str());
    return 1;
}

Fd endSignals()
{
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return Fd{signalfd(-1, &signals, SFD_CLOEXEC)};
}

int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

Result<> live(StandInAgent& agent, AgentControl& control, const Fd& end)
{
    auto nextFlurry = Clock::now() + agent.pause();
    while (true) {
        std::array polled{pollfd{end.get(), POLLIN, 0}, pollfd{control.descriptor(), POLLIN, 0}};
        if (::poll(polled.data(), polled.size(), millisecondsUntil(nextFlurry)) < 0)
            return Error::last("wait for commands");

        if (polled[0].revents != 0)
            return agent.writeFarewell();
        if (polled[1].revents != 0)
            control.serve([&](std::string_view command) { return agent.carryOut(command); });
        if (Clock::now() < nextFlurry)
            continue;
        if (auto written = agent.writeFlurry(); !written)
            return written;
        nextFlurry = Clock::now() + agent.pause();
    }
}

int run()
{
    const Fd end = endSignals();
    auto log = AgentLog::resume(AgentInstallation{}.logFolder);
    if (!log)
        return complain(log.error());

    StandInAgent agent{std::move(log.value()), std::random_device{}()};
    if (const auto written = agent.writeBeginning(); !written)
        return complain(written.error());

    // Opened last: when the socket exists, the first lines are written.
    auto control = AgentControl::listen(AgentControl::agentPath);
    if (!control)
        return complain(control.error());

    const auto lived = live(agent, control.value(), end);
    return lived ? 0 : complain(lived.error());
}

} // namespace

int main()
{
    try {
        return run();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "vxsvc: %s\n", exception.what());
        return 1;
    }
}

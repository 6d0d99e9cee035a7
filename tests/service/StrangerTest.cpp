// Who leaves something behind in the helper without ever being let in.
#include "tests/service/ServiceTesting.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

using namespace veltra;

namespace {

/// An ordinary user's connection to the bus of the test.
std::unique_ptr<BusConnection> joinBusAsNobody()
{
    EXPECT_EQ(::seteuid(65534), 0);
    auto bus = joinBus();
    EXPECT_EQ(::seteuid(0), 0);
    return bus;
}

} // namespace

TEST(Stranger, WhoComesAndGoesWhileHeIsLookedAtLeavesNothingBehind)
{
    Client honest{asNobody({trusted})};
    EXPECT_EQ(honest.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    const long before = descriptorsOf(helper);

    for (int i = 0; i < 100; ++i) {
        const ClientProgram stranger{asNobody({programs + "signed_attacker", "silent"})};
        std::this_thread::sleep_for(std::chrono::milliseconds{i * 37 % 23});
    }

    EXPECT_EQ(honest.version(), "a version 1.0.0");
    EXPECT_EQ(helperProcess(), helper);
    // One more is for the log, from its first line on.
    EXPECT_TRUE(becomesTrue([&] { return descriptorsOf(helper) <= before + 1; }));
}

TEST(Stranger, WhoSendsDescriptorsWhereNoneBelongLeavesNoneBehind)
{
    Client honest{asNobody({trusted})};
    EXPECT_EQ(honest.version(), "a version 1.0.0");
    const pid_t helper = helperProcess();
    const long before = descriptorsOf(helper);
    const auto bus = joinBusAsNobody();

    for (int i = 0; i < 200; ++i) {
        auto request = bus->methodCall(helperName, "/com/veltra/agentMonitor/helper",
                                       i % 2 ? "com.veltra.agentMonitor.Connections"
                                             : "com.veltra.agentMonitor.HelperProtocol",
                                       i % 4 ? "Close" : "Nonsense");
        request.append(Fd{::open("/dev/null", O_RDONLY | O_CLOEXEC)});
        EXPECT_FALSE(bus->call(request));
    }

    EXPECT_EQ(honest.version(), "a version 1.0.0");
    // One more is for the log, from its first line on.
    EXPECT_TRUE(becomesTrue([&] { return descriptorsOf(helper) <= before + 1; }));
}

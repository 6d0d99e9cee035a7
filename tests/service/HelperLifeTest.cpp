// Connections, and how the helper starts and ends.
#include "tests/service/ServiceTesting.h"

using namespace veltra;
using namespace std::chrono_literals;

namespace {

void killBus()
{
    // The brackets keep the pattern from matching the command line of the shell itself.
    outputOf("pkill -KILL -f -- '[d]bus-daemon --system'; rm -f /run/dbus/*");
    EXPECT_FALSE(BusConnection::open());
}

} // namespace

TEST(HelperLife, IsStartedByTheFirstCall)
{
    Client client;
    EXPECT_EQ(helperProcess(), 0);

    client.version();

    EXPECT_NE(helperProcess(), 0);
}

TEST(HelperLife, SendsOutputToTheNewestConnectionWhicheverAsked)
{
    Client client;
    client.version();
    client.tell("connect b");
    client.version("b");

    client.tell("run a printf news");

    EXPECT_EQ(client.lines(4), (Words{"a exit 0", "b err ", "b out ", "b out news"}));
}

TEST(HelperLife, SendsOutputToTheNewestClient)
{
    Client first;
    first.version();
    Client second{asNobody({programs + "service_client"})};
    second.version();

    first.tell("run a printf news");

    EXPECT_EQ(first.line(), "a exit 0");
    EXPECT_EQ(second.lines(3), (Words{"a err ", "a out ", "a out news"}));
}

TEST(HelperLife, EndsWithinAboutASecondOfTheFirstConnectionsEnd)
{
    Client first;
    first.version();
    Client second;
    second.version();
    const pid_t helper = helperProcess();

    first.tell("close a");

    EXPECT_EQ(first.line(), "a ended");
    EXPECT_TRUE(ends(helper, 5s));
    EXPECT_EQ(second.line(), "a ended");
}

TEST(HelperLife, DropsTheOutputForAClientThatIsLeftOver)
{
    Client leaving;
    leaving.version();
    leaving.tell("connect b");
    leaving.version("b");
    Client left;
    left.version();
    outputOf("mkfifo /tmp/go");
    std::fstream go{"/tmp/go"};
    // Uses only shell builtins, so it ends before the helper does.
    left.tell("run a echo started; read nothing </tmp/go; printf unheard");
    EXPECT_EQ(left.line(), "a out started\\n");

    leaving.tell("close a");
    EXPECT_EQ(leaving.line(), "a ended");
    // Once the helper answers a later request of the same program, it has received this one too.
    EXPECT_EQ(leaving.version("b"), "b version 1.0.0");
    go << std::endl;

    EXPECT_EQ(left.line(), "a exit 0");
    EXPECT_EQ(left.line(), "a ended");
}

TEST(HelperLife, EndsWhenAClientVanishes)
{
    Client client;
    client.version();
    const pid_t helper = helperProcess();

    client.kill(SIGKILL);

    EXPECT_TRUE(ends(helper));
}

TEST(HelperLife, EndsWhenAClientLetsGoOfItsConnection)
{
    Client client;
    client.version();
    const pid_t helper = helperProcess();

    client.tell("abandon a");

    EXPECT_TRUE(ends(helper));
}

TEST(HelperLife, EndsThoughAToolIgnoresSigterm)
{
    Client client;
    client.tell("run a trap '' TERM; echo started; while :; do sleep 0.1; done");
    EXPECT_EQ(client.line(), "a out started\\n");
    const pid_t helper = helperProcess();

    client.kill(SIGKILL);

    EXPECT_TRUE(ends(helper));
    outputOf("pkill -KILL trolex");
}

TEST(HelperLife, RunsOnWhileNobodyEverConnected)
{
    outputOf("dbus-send --system --print-reply --dest=" + helperName +
             " / org.freedesktop.DBus.Introspectable.Introspect");
    const pid_t helper = helperProcess();

    EXPECT_NE(helper, 0);
    EXPECT_FALSE(ends(helper, 2500ms));
}

TEST(HelperLife, ServesAConnectionMadeAfterItsEnd)
{
    Client client;
    client.version();
    client.tell("close a");
    EXPECT_EQ(client.line(), "a ended");
    client.tell("connect b");

    EXPECT_EQ(client.version("b"), "b version 1.0.0");
}

TEST(HelperLife, FailsACallOfAConnectionThatHasEnded)
{
    Client client;
    client.version();
    client.tell("close a");
    EXPECT_EQ(client.line(), "a ended");

    EXPECT_EQ(client.version(), "a failed");
}

TEST(HelperLife, TellsTheClientWhenItCrashes)
{
    Client client;
    client.tell("run a echo started; exec sleep 1000");
    EXPECT_EQ(client.line(), "a out started\\n");

    ::kill(helperProcess(), SIGKILL);

    EXPECT_EQ(client.lines(2), (Words{"a ended", "a failed"}));
    outputOf("pkill -KILL sleep");
}

TEST(HelperLife, AnswersWhatItHasRunHoweverOftenItIsAskedToEnd)
{
    installHelper("patient_helper");
    Client client;
    client.tell("run a echo started; until [[ -e /tmp/go ]]; do sleep 0.01; done; exit 6");
    EXPECT_EQ(client.line(), "a out started\\n");
    const pid_t helper = helperProcess();
    ::kill(helper, SIGTERM);
    EXPECT_EQ(client.line(), "a ended");

    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ::kill(helper, signal);
        EXPECT_TRUE(becomesTrue([&] { return statusOf(helper, "ShdPnd") == 0; }));
    }
    std::ofstream{"/tmp/go"};

    EXPECT_EQ(client.line(), "a exit 6");
    EXPECT_TRUE(ends(helper));
}

TEST(HelperLife, EndsAtEverySignalThatAsksForIt)
{
    installHelper("patient_helper");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        Client client;
        client.tell("run a echo started; until [[ -e /tmp/go ]]; do sleep 0.01; done; exit 6");
        EXPECT_EQ(client.line(), "a out started\\n");
        const pid_t helper = helperProcess();

        ::kill(helper, signal);
        EXPECT_EQ(client.line(), "a ended") << signal;
        std::ofstream{"/tmp/go"};

        EXPECT_EQ(client.line(), "a exit 6") << signal;
        EXPECT_TRUE(ends(helper)) << signal;
        std::filesystem::remove("/tmp/go");
    }
}

TEST(HelperLife, AnswersThoseWhoStillWaitToBeLetInWhenItEnds)
{
    Client client;
    client.version();
    const pid_t helper = helperProcess();
    const long descriptors = descriptorsOf(helper);
    ClientProgram waiting{asNobody({programs + "signed_attacker", "silent"})};
    ASSERT_TRUE(becomesTrue([&] { return descriptorsOf(helper) > descriptors + 2; }));

    client.tell("close a");

    EXPECT_EQ(waiting.line(), "refused this instance of the service has ended");
}

TEST(HelperLife, LosesNoCallThatIsMadeAroundItsEnd)
{
    installHelper("hasty_helper");
    Client client;
    // systemd takes longer to start it.
    const int calls = isUnderSystemd() ? 500 : 1500;

    client.tell("cycle c " + std::to_string(calls));

    EXPECT_EQ(client.line(10min), "c answered " + std::to_string(calls) + " failed 0");
    // The test shows something only if the helper did end in between: at most once in ten calls.
    EXPECT_TRUE(becomesTrue([&] { return std::ranges::count(helperLog(), '\n') > calls / 15; }));
    EXPECT_EQ(helperLog().find("failed"), std::string::npos);
}

TEST(HelperLife, HasNoThreadOrDescriptorMoreForAThousandConnections)
{
    Client client;
    client.version();
    const pid_t helper = helperProcess();
    const long helpersThreads = statusOf(helper, "Threads");
    const long helpersDescriptors = descriptorsOf(helper);
    const long clientsThreads = statusOf(client.pid(), "Threads");
    const long clientsDescriptors = descriptorsOf(client.pid());

    for (int i = 0; i < 1000; ++i) {
        client.tell("connect c" + std::to_string(i));
        client.tell("version c" + std::to_string(i));
    }
    for (int i = 0; i < 1000; ++i)
        EXPECT_NE(client.line().find("version 1.0.0"), std::string::npos);

    // Threads and descriptors of the last ones may still be about to go.
    EXPECT_TRUE(becomesTrue([&] {
        return statusOf(helper, "Threads") <= helpersThreads &&
               descriptorsOf(helper) <= helpersDescriptors;
    }));
    EXPECT_TRUE(becomesTrue([&] {
        return statusOf(client.pid(), "Threads") <= clientsThreads &&
               descriptorsOf(client.pid()) <= clientsDescriptors;
    }));
}

TEST(HelperLife, OutlivesTheBusOnTheClientsSide)
{
    Client client;
    client.version();
    const pid_t helper = helperProcess();

    killBus();

    EXPECT_EQ(client.line(), "a ended");
    EXPECT_TRUE(ends(helper));
    startBus();
    client.tell("connect b");
    EXPECT_EQ(client.version("b"), "b version 1.0.0");
}

TEST(HelperLife, EndsAtOnceWithTheBusThoughAToolRuns)
{
    installHelper("patient_helper");
    Client client;
    client.tell("run a echo started; until [[ -e /tmp/go ]]; do sleep 0.01; done");
    EXPECT_EQ(client.line(), "a out started\\n");
    const pid_t helper = helperProcess();

    killBus();

    EXPECT_TRUE(ends(helper));
    EXPECT_EQ(client.lines(2), (Words{"a ended", "a failed"}));
    std::ofstream{"/tmp/go"};
    startBus();
}

TEST(HelperLife, FailsACallWhenThereIsNoBus)
{
    killBus();
    Client client;

    client.tell("version a");

    EXPECT_EQ(client.lines(2), (Words{"a ended", "a failed"}));
    startBus();
}

// What a press costs permanently; sanitizers add costs of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(HelperLife, CostsAProgramLessThanAKilobyteForEachPressOfAButton)
{
    std::ofstream{toolPath} << "#!/bin/sh\n";

    std::istringstream cost{
        outputOf("{ QT_QPA_PLATFORM=offscreen " + programs + "clicker 2>/dev/null; }")};

    long bytes = -1;
    long threads = -1;
    long descriptors = -1;
    ASSERT_TRUE(cost >> bytes >> threads >> descriptors) << cost.str();
    EXPECT_GT(bytes, 0);
    EXPECT_LT(bytes, 1024);
    EXPECT_EQ(threads, 0);
    EXPECT_EQ(descriptors, 0);
}
#endif

// Who may own the service's name, and who may call its clients.
#include "tests/service/FalseBus.h"
#include "tests/service/ServiceTesting.h"

using namespace veltra;

TEST(BusAttack, NobodyButRootMayOwnTheName)
{
    const std::string request = "dbus-send --system --print-reply --dest=org.freedesktop.DBus / "
                                "org.freedesktop.DBus.RequestName string:" +
                                helperName + " uint32:4";

    EXPECT_NE(outputOf("setpriv --reuid=65534 --clear-groups " + request).find("AccessDenied"),
              std::string::npos);
    // Calls that an earlier test left behind may have started a helper.
    EXPECT_TRUE(becomesTrue([&] {
        killHelper();
        return outputOf(request).find("uint32 1") != std::string::npos;
    }));
}

TEST(BusAttack, AClientTakesOutputFromTheHelperAlone)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const auto bus = joinBus();

    // From root, which the bus permits.
    outputOf("dbus-send --system --type=method_call --dest=" + nameOf(client.pid(), *bus) +
             " /com/veltra/agentMonitor/client/1 "
             "com.veltra.agentMonitor.AppProtocol.logWithStdOut string:forged");
    client.tell("run a printf true");

    EXPECT_EQ(client.lines(4), (Words{"a err ", "a exit 0", "a out ", "a out true"}));
}

TEST(BusAttack, AClientBelievesNobodyButTheBusThatTheHelperHasLeft)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const auto bus = joinBus();
    const std::string helper = askBus<std::string>(*bus, "GetNameOwner", helperName).value();

    outputOf("setpriv --reuid=65534 --clear-groups dbus-send --system --type=signal --dest=" +
             nameOf(client.pid(), *bus) +
             " /org/freedesktop/DBus org.freedesktop.DBus.NameOwnerChanged string:" + helperName +
             " string:" + helper + " string:");

    client.tell("run a printf true");
    EXPECT_EQ(client.lines(4), (Words{"a err ", "a exit 0", "a out ", "a out true"}));
}

TEST(BusAttack, ClientsCannotBeCalledByOtherUsers)
{
    Client client;
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const auto bus = joinBus();
    const std::string call =
        "dbus-send --system --print-reply --dest=" + nameOf(client.pid(), *bus) + " ";
    const std::string output = "/com/veltra/agentMonitor/client/1 ";

    for (const std::string& words :
         {output + "com.veltra.agentMonitor.AppProtocol.logWithStdOut string:x",
          output + "org.freedesktop.DBus.Introspectable.Introspect"})
        // By the bus, not by the client.
        EXPECT_NE(outputOf("setpriv --reuid=65534 --clear-groups " + call + words)
                      .find("AccessDenied: Rejected send message"),
                  std::string::npos)
            << words;
}

// A library of the system's own may do this; one of a user's is noticed by the helper.
TEST(BusAttack, AClientThatALibraryLeadsToAUsersBusDoesNotTrustIt)
{
    layOutFalseBus();
    ClientProgram program{asNobody({programs + "attacker", "relays-by-library", trusted,
                                    falseBusFolder, programs + "libmisleading_library.so"})};
    ASSERT_EQ(program.lines(2), (Words{"in wait", "ready"}));

    program.tell("connect a");
    program.tell("version a");

    EXPECT_EQ(program.lines(2), (Words{"a ended", "a failed"}));
}

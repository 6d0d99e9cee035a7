// Who may own the service's name, and who may call its clients.
#include "tests/service/FalseBus.h"
#include "tests/service/ServiceTesting.h"

#include <array>

#include <sys/socket.h>

using namespace veltra;

namespace {

/// The name that a process has on a bus; empty when it has none.
std::string nameOf(pid_t process, BusConnection& bus)
{
    auto question = bus.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "ListNames");
    auto answer = bus.call(question);
    std::vector<std::string> names;
    EXPECT_TRUE(answer && answer.value().read(names));
    for (const std::string& name : names)
        if (name.starts_with(":") && ownerOf(name, bus) == process)
            return name;
    return {};
}

/// Whether the client proves its identity to whoever is on that bus.
bool isAnswered(BusConnection& bus, const std::string& client)
{
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    const Fd ourEnd{ends[0]};
    auto request = bus.methodCall(client, "/com/veltra/agentMonitor/peer",
                                  "com.veltra.agentMonitor.Peer", "Prove");
    request.append(Fd{ends[1]}, std::vector<std::uint8_t>(32, 7));
    EXPECT_TRUE(bus.send(request));
    request = {};
    // If it does not answer, it closes its end.
    std::array<char, 1024> answer{};
    return ::read(ourEnd.get(), answer.data(), answer.size()) > 0;
}

/// A bus of our own, on which everybody may do everything, instead of the system's.
ClientProgram startFalseBus()
{
    layOutFalseBus();
    return ClientProgram{{"dbus-daemon", "--nofork", "--print-address",
                          "--config-file=" + falseBusFolder + "/bus.conf"}};
}

/// A user's connection to that bus, which owns the helper's name.
std::unique_ptr<BusConnection> ownNameOnFalseBus(uid_t user)
{
    EXPECT_EQ(::seteuid(user), 0);
    auto bus = std::move(
        BusConnection::openAt("unix:path=" + falseBusFolder + "/system_bus_socket").value());
    EXPECT_EQ(::seteuid(0), 0);
    EXPECT_TRUE(bus->requestName(helperName));
    return bus;
}

} // namespace

TEST(BusAttack, NobodyButRootMayOwnTheName)
{
    const std::string request = "dbus-send --system --print-reply --dest=org.freedesktop.DBus / "
                                "org.freedesktop.DBus.RequestName string:" +
                                helperName + " uint32:4";

    EXPECT_NE(outputOf("setpriv --reuid=65534 --clear-groups " + request).find("AccessDenied"),
              std::string::npos);
    EXPECT_NE(outputOf(request).find("uint32 1"), std::string::npos);
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
    const std::string proof = "/com/veltra/agentMonitor/peer com.veltra.agentMonitor.Peer.Prove";
    // From root, whom the bus lets through, it finds the method.
    EXPECT_NE(outputOf(call + proof).find("InvalidArgs"), std::string::npos);

    for (const std::string& words :
         {output + "com.veltra.agentMonitor.AppProtocol.logWithStdOut string:x",
          output + "org.freedesktop.DBus.Introspectable.Introspect", proof})
        // By the bus, not by the client.
        EXPECT_NE(outputOf("setpriv --reuid=65534 --clear-groups " + call + words)
                      .find("AccessDenied: Rejected send message"),
                  std::string::npos)
            << words;
}

TEST(BusAttack, AClientAnswersNoProgramOfRootsButItsService)
{
    Client client{asNobody({trusted})};
    EXPECT_EQ(client.version(), "a version 1.0.0");
    const auto bus = joinBus();
    const std::string name = nameOf(client.pid(), *bus);

    EXPECT_FALSE(isAnswered(*bus, name));

    killHelper();
    EXPECT_TRUE(bus->requestName(helperName));
    EXPECT_TRUE(isAnswered(*bus, name));
}

TEST(BusAttack, AClientAnswersNoServiceOfAnotherUsers)
{
    ClientProgram falseBus = startFalseBus();
    ASSERT_TRUE(falseBus.line().starts_with("unix:path="));
    auto falseHelper = ownNameOnFalseBus(0);
    Client client{{"unshare", "-m", "sh", "-c",
                   "mount --bind " + falseBusFolder + " /run/dbus && exec " + trusted}};
    client.tell("version a");
    std::string name;
    ASSERT_TRUE(becomesTrue([&] {
        name = nameOf(client.pid(), *falseHelper);
        return !name.empty();
    }));
    // It connects to the bus before it asks for the service.
    ASSERT_TRUE(becomesTrue([&] { return isAnswered(*falseHelper, name); }));

    falseHelper.reset();
    falseHelper = ownNameOnFalseBus(65534);

    EXPECT_FALSE(isAnswered(*falseHelper, name));
}

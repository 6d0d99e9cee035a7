// Tries to be accepted by the helper without being the trusted program. Prints "granted PATH" or
// "refused WHY". The process that connects may fork: then the child can use the connection, and the
// bus still believes that it is the parent's.
#include "platform/bus/tests/ChallengeTesting.h"
#include "tests/service/programs/ForgedLink.h"
#include "tests/service/programs/Intruder.h"
#include "tests/service/programs/Relay.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <systemd/sd-event.h>
#include <unistd.h>

namespace {

using intruder::askToBeLetIn;
using intruder::connectToBus;
using veltra::ChallengeSockets;
using veltra::Fd;
using namespace std::chrono_literals;

void answerHonestly(const Fd& socket, const std::string& uniqueName)
{
    veltra::answerChallenge(socket, uniqueName);
}

// With the parent's process id in the stamp, which the kernel permits to root of the pid namespace.
void answerAsParent(const Fd& socket, const std::string& uniqueName)
{
    const std::string answer = veltra::rightAnswer(veltra::receivedAt(socket), uniqueName);
    const ucred parent{::getppid(), ::getuid(), ::getgid()};
    if (!veltra::sendWith(socket, answer, SCM_CREDENTIALS, parent))
        intruder::say(std::string{"cannot forge: "} + std::strerror(errno));
}

// It is the parent's turn.
void leaveToParent(const Fd&, const std::string&) {}

[[noreturn]] void become(const char* program)
{
    ::execl(program, program, nullptr);
    std::perror(program);
    std::_Exit(1);
}

ChallengeSockets makeSockets()
{
    return std::move(ChallengeSockets::make().value());
}

[[noreturn]] void ask(Fd socket, intruder::Answer answer)
{
    const ChallengeSockets sockets = makeSockets();
    askToBeLetIn(intruder::join(std::move(socket)), sockets.ours, sockets.theirs, answer);
}

void askInChild(Fd socket, intruder::Answer answer)
{
    if (::fork() == 0)
        ask(std::move(socket), answer);
}

// The child asks, this process answers and then executes the trusted program.
[[noreturn]] void answerAndBecome(const char* program)
{
    const ChallengeSockets sockets = makeSockets();
    const ChallengeSockets words = makeSockets();
    Fd socket = connectToBus();
    if (::fork() == 0) {
        sd_bus* const bus = intruder::join(std::move(socket));
        const std::string name = intruder::nameOn(bus);
        ::send(words.ours.get(), name.data(), name.size(), 0);
        askToBeLetIn(bus, sockets.ours, sockets.theirs, leaveToParent);
    }
    std::string name(1000, '\0');
    name.resize(static_cast<std::size_t>(::recv(words.theirs.get(), name.data(), name.size(), 0)));
    char first = '\0';
    ::recv(sockets.ours.get(), &first, 1, MSG_PEEK);
    answerHonestly(sockets.ours, name);
    become(program);
}

// Brings something that is no socket.
[[noreturn]] void bringFile()
{
    const Fd file{::open("/dev/null", O_RDWR | O_CLOEXEC)};
    askToBeLetIn(intruder::join(connectToBus()), {}, file, nullptr);
}

// Asks for a connection every second, and never answers.
[[noreturn]] void insist()
{
    sd_bus* const bus = intruder::join(connectToBus());
    const ChallengeSockets sockets = makeSockets();
    for (bool isDone = false;;) {
        intruder::requestConnection(bus, sockets.theirs.get(), isDone);
        const auto next = std::chrono::steady_clock::now() + 1s;
        while (std::chrono::steady_clock::now() < next)
            if (sd_bus_process(bus, nullptr) == 0)
                sd_bus_wait(bus, 100'000);
    }
}

// Connects to the bus as that many programs, none of which answers.
[[noreturn]] void crowd(int size)
{
    sd_event* loop = nullptr;
    intruder::check(sd_event_default(&loop), "make a loop");
    const ChallengeSockets sockets = makeSockets();
    static bool isDone = false;
    for (; size > 0; --size) {
        sd_bus* const bus = intruder::join(connectToBus());
        intruder::requestConnection(bus, sockets.theirs.get(), isDone);
        intruder::check(sd_bus_attach_event(bus, loop, 0), "attach the bus");
    }
    intruder::check(sd_event_loop(loop), "run the loop");
    std::_Exit(0);
}

// The same, but none of them ever reads what the bus has for it.
[[noreturn]] void deafCrowd(int size)
{
    const ChallengeSockets sockets = makeSockets();
    static bool isDone = false;
    for (; size > 0; --size) {
        sd_bus* const bus = intruder::join(connectToBus());
        intruder::requestConnection(bus, sockets.theirs.get(), isDone);
        intruder::check(sd_bus_flush(bus), "send");
    }
    intruder::say("asked");
    for (;;)
        ::pause();
}

// What a stranger may send: to whatever object, with or without the right content.
struct OddMessage {
    const char* path;
    const char* interface;
    const char* member;
    const char* types;
};

constexpr const char* helper = "com.veltra.agentMonitor.helper";
constexpr const char* root = "/com/veltra/agentMonitor/helper";
constexpr const char* connections = "com.veltra.agentMonitor.Connections";
constexpr const char* busInterface = "org.freedesktop.DBus";

constexpr std::array<OddMessage, 11> oddMessages{
    {{root, connections, "Open", "o"},
     {root, connections, "Open", "s"},
     {root, connections, "Prove", "h"},
     {root, connections, "Prove", ""},
     {root, connections, "Close", "o"},
     {"/com/veltra/agentMonitor/helper/client1_1", "com.veltra.agentMonitor.HelperProtocol",
      "getVersionWithCompletion", ""},
     {"/", "org.freedesktop.DBus.Introspectable", "Introspect", ""},
     {"/nowhere", "com.veltra.nothing", "Nothing", "s"},
     {"/org/freedesktop/DBus", busInterface, "NameOwnerChanged", "sss"},
     {"/org/freedesktop/DBus", busInterface, "NameOwnerChanged", "h"},
     {"/org/freedesktop/systemd1/unit/x", "org.freedesktop.DBus.Properties", "PropertiesChanged",
      "ss"}}};

void sendOdd(sd_bus* bus, const OddMessage& odd, bool isSignal, const std::string& text,
             int descriptor)
{
    sd_bus_message* message = nullptr;
    if (isSignal)
        sd_bus_message_new_signal(bus, &message, odd.path, odd.interface, odd.member);
    else
        sd_bus_message_new_method_call(bus, &message, helper, odd.path, odd.interface, odd.member);
    sd_bus_message_set_destination(message, helper);
    sd_bus_message_set_expect_reply(message, isSignal ? 0 : 1);
    for (const char* type = odd.types; *type != '\0'; ++type)
        if (*type == 'h')
            sd_bus_message_append_basic(message, *type, &descriptor);
        else
            sd_bus_message_append_basic(message, *type, *type == 'o' ? "/a" : text.c_str());
    sd_bus_send(bus, message, nullptr);
    sd_bus_message_unref(message);
}

// Sends that many of them over a hundred connections, every thousandth a big one.
[[noreturn]] void flood(std::size_t count)
{
    const ChallengeSockets sockets = makeSockets();
    const Fd file{::open("/dev/null", O_RDWR | O_CLOEXEC)};
    std::array<sd_bus*, 100> buses{};
    for (sd_bus*& bus : buses)
        bus = intruder::join(connectToBus());
    for (std::size_t i = 0; i < count; ++i) {
        sd_bus* const bus = buses[i % buses.size()];
        const std::size_t size = i % 1000 == 0 ? 1024 * 1024 : 3;
        sendOdd(bus, oddMessages[i % oddMessages.size()], i % 3 == 0, std::string(size, 'x'),
                i % 2 == 0 ? file.get() : sockets.theirs.get());
        while (sd_bus_process(bus, nullptr) > 0) {
        }
    }
    for (sd_bus* const bus : buses)
        sd_bus_flush(bus);
    intruder::say("flooded");
    for (;;)
        ::pause();
}

// Until the helper has dealt with what was sent, or has ended.
void awaitHelper(sd_bus* bus)
{
    sd_bus_call_method(bus, helper, root, connections, "Open", nullptr, nullptr, "o", "/attacker");
}

// Sends more than the bus keeps for one that does not read. It takes less from one sender.
[[noreturn]] void fillQueue()
{
    constexpr std::size_t megabytes = 70;
    const std::string text(1024 * 1024, 'x');
    for (int connection = 0; connection < 2; ++connection) {
        sd_bus* const bus = intruder::join(connectToBus());
        for (std::size_t i = 0; i < megabytes; ++i) {
            sendOdd(bus, {root, connections, "Open", "s"}, true, text, -1);
            intruder::check(sd_bus_flush(bus), "flush");
        }
        // The bus has taken all of it when it answers.
        intruder::check(sd_bus_call_method(bus, busInterface, "/org/freedesktop/DBus", busInterface,
                                           "GetId", nullptr, nullptr, ""),
                        "ask the bus");
    }
    intruder::say("filled");
    for (;;)
        ::pause();
}

// Sends that many messages with descriptors and a signature that the bus lets through, but that is
// too deep for the helper's library: it counts all arrays, the bus only those directly in another.
[[noreturn]] void nestTooDeep(std::size_t count)
{
    const std::string nested = "{t" + std::string(32, 'a') + "y}";
    const Fd file{::open("/dev/null", O_RDWR | O_CLOEXEC)};
    const int descriptor = file.get();
    sd_bus* const bus = intruder::join(connectToBus());
    for (; count > 0; --count) {
        // The kernel lets a user have no more than so many descriptors under way.
        if (count % 32 == 0)
            awaitHelper(bus);
        sd_bus_message* message = nullptr;
        intruder::check(
            sd_bus_message_new_method_call(bus, &message, helper, root, connections, "Prove"),
            "make a message");
        for (int i = 0; i < 16; ++i)
            intruder::check(sd_bus_message_append_basic(message, 'h', &descriptor), "append");
        intruder::check(sd_bus_message_open_container(message, 'a', nested.c_str()), "nest");
        intruder::check(sd_bus_message_close_container(message), "nest");
        sd_bus_message_set_expect_reply(message, 0);
        intruder::check(sd_bus_send(bus, message, nullptr), "send");
        sd_bus_message_unref(message);
        intruder::check(sd_bus_flush(bus), "flush");
    }
    awaitHelper(bus);
    intruder::say("sent");
    for (;;)
        ::pause();
}

} // namespace

int main(int count, char** arguments)
{
    const std::string mode = count > 1 ? arguments[1] : "";
    const char* const trusted = count > 2 ? arguments[2] : nullptr;
    const std::string folder = count > 3 ? arguments[3] : "";
    if (mode == "honest" || mode == "silent") {
        ask(connectToBus(), mode == "honest" ? answerHonestly : nullptr);
    } else if (mode == "brings-file") {
        bringFile();
    } else if (mode == "child-answers" || mode == "child-forges") {
        askInChild(connectToBus(), mode == "child-answers" ? answerHonestly : answerAsParent);
        become(trusted);
    } else if (mode == "answers-then-executes") {
        answerAndBecome(trusted);
    } else if (mode == "insists") {
        insist();
    } else if (mode == "crowd") {
        crowd(std::stoi(arguments[2]));
    } else if (mode == "deaf-crowd") {
        deafCrowd(std::stoi(arguments[2]));
    } else if (mode == "floods") {
        flood(std::stoul(arguments[2]));
    } else if (mode == "fills-queue") {
        fillQueue();
    } else if (mode == "nests-too-deep") {
        nestTooDeep(std::stoul(arguments[2]));
    } else if (mode == "forges-link") {
        intruder::forgeLinkToExecutable(trusted);
        ask(connectToBus(), answerHonestly);
    } else if (mode == "relays-by-library" || mode == "relays-from-mount") {
        Fd socket = connectToBus();
        if (mode == "relays-from-mount")
            intruder::checkLast(
                ::mount(folder.c_str(), "/run/dbus", nullptr, MS_BIND, nullptr) == 0, "mount");
        if (::fork() == 0)
            intruder::relay(std::move(socket), folder);
        if (mode == "relays-by-library") {
            ::setenv("LD_PRELOAD", arguments[4], 1);
            ::setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
        }
        become(trusted);
    }
    return 2;
}

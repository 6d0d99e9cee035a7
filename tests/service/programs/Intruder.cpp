#include "tests/service/programs/Intruder.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace intruder {

namespace {

using veltra::Fd;

constexpr const char* helper = "com.veltra.agentMonitor.helper";
constexpr const char* root = "/com/veltra/agentMonitor/helper";
constexpr const char* interface = "com.veltra.agentMonitor.Connections";

// Returns whether the answer is an error.
bool isRefused(sd_bus_message* answer, void* isDone)
{
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    if (!error)
        return false;
    say(std::string{"refused "} + error->message);
    *static_cast<bool*>(isDone) = true;
    return true;
}

int takeOpened(sd_bus_message* message, void* isDone, sd_bus_error*)
{
    const char* path = nullptr;
    if (isRefused(message, isDone))
        return 0;
    sd_bus_message_read_basic(message, 'o', &path);
    say(std::string{"granted "} + path);
    *static_cast<bool*>(isDone) = true;
    return 0;
}

int takeProved(sd_bus_message* message, void* isDone, sd_bus_error*)
{
    if (!isRefused(message, isDone))
        check(sd_bus_call_method_async(sd_bus_message_get_bus(message), nullptr, helper, root,
                                       interface, "Open", takeOpened, isDone, "o", "/attacker"),
              "call");
    return 0;
}

// The bus's library may have read messages already; then it does not wait.
bool waitForEither(sd_bus* bus, int socket)
{
    std::array<pollfd, 2> either{
        {{sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0}, {socket, POLLIN, 0}}};
    ::poll(either.data(), either.size(), -1);
    return either[1].revents != 0;
}

} // namespace

void say(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void check(int result, const char* what)
{
    if (result < 0) {
        say(std::string{"cannot "} + what + ": " + std::strerror(-result));
        std::_Exit(1);
    }
}

void checkLast(bool isDone, const char* what)
{
    check(isDone ? 0 : -errno, what);
}

Fd connectToBus()
{
    Fd socket{::socket(AF_UNIX, SOCK_STREAM, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/dbus/system_bus_socket");
    checkLast(::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
              "connect");
    return socket;
}

sd_bus* join(Fd socket)
{
    sd_bus* bus = nullptr;
    check(sd_bus_new(&bus), "make a bus");
    const int descriptor = socket.release();
    check(sd_bus_set_fd(bus, descriptor, descriptor), "set the socket");
    check(sd_bus_set_bus_client(bus, 1), "be a client");
    check(sd_bus_negotiate_fds(bus, 1), "take descriptors");
    check(sd_bus_start(bus), "start");
    return bus;
}

std::string nameOn(sd_bus* bus)
{
    const char* name = nullptr;
    check(sd_bus_get_unique_name(bus, &name), "get the name");
    return name;
}

void requestConnection(sd_bus* bus, int socket, bool& isDone)
{
    check(sd_bus_call_method_async(bus, nullptr, helper, root, interface, "Prove", takeProved,
                                   &isDone, "h", socket),
          "call");
}

void askToBeLetIn(sd_bus* bus, const Fd& ours, const Fd& theirs, Answer answer)
{
    bool isDone = false;
    bool isAnswered = answer == nullptr;
    requestConnection(bus, theirs.get(), isDone);
    while (!isDone) {
        const int result = sd_bus_process(bus, nullptr);
        check(result, "process");
        if (result > 0 || !waitForEither(bus, isAnswered ? -1 : ours.get()))
            continue;
        answer(ours, nameOn(bus));
        isAnswered = true;
    }
    // Leaving the bus would end the connection.
    for (;;)
        ::pause();
}

} // namespace intruder

#include "tests/service/programs/Intruder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace intruder {

namespace {

using veltra::Fd;

Answer answer = nullptr;

int takeChallenge(sd_bus_message* message, void*, sd_bus_error*)
{
    int socket = -1;
    const void* nonce = nullptr;
    std::size_t size = 0;
    const char* name = nullptr;
    check(sd_bus_message_read_basic(message, 'h', &socket), "read the socket");
    check(sd_bus_message_read_array(message, 'y', &nonce, &size), "read the nonce");
    check(sd_bus_get_unique_name(sd_bus_message_get_bus(message), &name), "get the name");
    const auto* bytes = static_cast<const std::uint8_t*>(nonce);
    Fd kept{::fcntl(socket, F_DUPFD_CLOEXEC, 0)};
    if (answer)
        answer({std::move(kept), {bytes, bytes + size}, name});
    else
        static_cast<void>(kept.release()); // closing an end would be an answer
    return 0;
}

int takeOpened(sd_bus_message* message, void* isDone, sd_bus_error*)
{
    const sd_bus_error* const error = sd_bus_message_get_error(message);
    const char* path = nullptr;
    if (error) {
        say(std::string{"refused "} + error->message);
    } else {
        sd_bus_message_read_basic(message, 'o', &path);
        say(std::string{"granted "} + path);
    }
    *static_cast<bool*>(isDone) = true;
    return 0;
}

const sd_bus_vtable peer[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Prove", "hay", "", takeChallenge,
                  SD_BUS_VTABLE_UNPRIVILEGED | SD_BUS_VTABLE_METHOD_NO_REPLY),
    SD_BUS_VTABLE_END};

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

sd_bus* join(Fd socket, Answer toChallenges)
{
    answer = toChallenges;
    sd_bus* bus = nullptr;
    check(sd_bus_new(&bus), "make a bus");
    const int descriptor = socket.release();
    check(sd_bus_set_fd(bus, descriptor, descriptor), "set the socket");
    check(sd_bus_set_bus_client(bus, 1), "be a client");
    check(sd_bus_negotiate_fds(bus, 1), "take descriptors");
    check(sd_bus_start(bus), "start");
    check(sd_bus_add_object_vtable(bus, nullptr, "/com/veltra/agentMonitor/peer",
                                   "com.veltra.agentMonitor.Peer", peer, nullptr),
          "add the object");
    return bus;
}

void requestConnection(sd_bus* bus, bool& isDone)
{
    check(sd_bus_call_method_async(
              bus, nullptr, "com.veltra.agentMonitor.helper", "/com/veltra/agentMonitor/helper",
              "com.veltra.agentMonitor.Connections", "Open", takeOpened, &isDone, "o", "/attacker"),
          "call");
}

void askToBeLetIn(Fd socket, Answer toChallenges)
{
    sd_bus* const bus = join(std::move(socket), toChallenges);
    bool isDone = false;
    requestConnection(bus, isDone);
    while (!isDone) {
        const int result = sd_bus_process(bus, nullptr);
        check(result, "process");
        if (result == 0)
            check(sd_bus_wait(bus, UINT64_MAX), "wait");
    }
    // Leaving the bus would end the connection.
    ::pause();
}

} // namespace intruder

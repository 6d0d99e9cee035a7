// Tries to be let in by the helper without being the trusted program. Says "granted PATH" or
// "refused WHY". The process that connects may fork: the connection then is the child's to use, and
// the bus goes on taking it for the parent's.
#include "platform/CallerChallenge.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

using veltra::Fd;

struct Challenge {
    Fd socket;
    std::vector<std::uint8_t> nonce;
    std::string uniqueName;
};

/// What is done with a challenge that arrives.
using Answer = void (*)(const Challenge&);

Answer answer = nullptr;
int parentsEnd = -1;

void check(int result, const char* what)
{
    if (result < 0) {
        std::printf("cannot %s: %s\n", what, std::strerror(-result));
        std::fflush(stdout);
        std::_Exit(1);
    }
}

Fd connectToBus()
{
    Fd socket{::socket(AF_UNIX, SOCK_STREAM, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/dbus/system_bus_socket");
    check(::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
              ? 0
              : -errno,
          "connect");
    return socket;
}

void answerHonestly(const Challenge& challenge)
{
    veltra::answerChallenge(challenge.socket, challenge.nonce, challenge.uniqueName);
}

// With the parent's number in the stamp, which the kernel grants to root of the pid's namespace.
void answerAsParent(const Challenge& challenge)
{
    std::array<int, 2> ends{};
    ::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data());
    veltra::answerChallenge(Fd{ends[0]}, challenge.nonce, challenge.uniqueName);
    std::array<char, 1024> bytes{};
    const ssize_t size = ::read(ends[1], bytes.data(), bytes.size());
    iovec part{bytes.data(), static_cast<std::size_t>(size)};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_CREDENTIALS;
    header->cmsg_len = CMSG_LEN(sizeof(ucred));
    const ucred parent{::getppid(), ::getuid(), ::getgid()};
    std::memcpy(CMSG_DATA(header), &parent, sizeof parent);
    if (::sendmsg(challenge.socket.get(), &message, 0) < 0) {
        std::printf("cannot forge: %s\n", std::strerror(errno));
        std::fflush(stdout);
    }
}

// Lets the parent answer, who then becomes the trusted program.
void answerThroughParent(const Challenge& challenge)
{
    const std::string words{challenge.nonce.begin(), challenge.nonce.end()};
    const std::string text = words + challenge.uniqueName;
    iovec part{const_cast<char*>(text.data()), text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int socket = challenge.socket.get();
    std::memcpy(CMSG_DATA(header), &socket, sizeof socket);
    ::sendmsg(parentsEnd, &message, 0);
}

Challenge receiveFromChild(int socket)
{
    std::array<char, 1024> bytes{};
    iovec part{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = ::recvmsg(socket, &message, 0);
    if (size < 32)
        return {};
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof descriptor);
    return {Fd{descriptor},
            {bytes.begin(), bytes.begin() + 32},
            {bytes.data() + 32, static_cast<std::size_t>(size) - 32}};
}

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
        static_cast<void>(kept.release()); // an end that is closed would be an answer
    return 0;
}

int takeOpened(sd_bus_message* message, void* isDone, sd_bus_error*)
{
    const sd_bus_error* const error = sd_bus_message_get_error(message);
    const char* path = nullptr;
    if (error) {
        std::printf("refused %s\n", error->message);
    } else {
        sd_bus_message_read_basic(message, 'o', &path);
        std::printf("granted %s\n", path);
    }
    std::fflush(stdout);
    *static_cast<bool*>(isDone) = true;
    return 0;
}

const sd_bus_vtable peer[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Prove", "hay", "", takeChallenge,
                  SD_BUS_VTABLE_UNPRIVILEGED | SD_BUS_VTABLE_METHOD_NO_REPLY),
    SD_BUS_VTABLE_END};

void askToBeLetIn(Fd socket)
{
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
    bool isDone = false;
    check(sd_bus_call_method_async(
              bus, nullptr, "com.veltra.agentMonitor.helper", "/com/veltra/agentMonitor/helper",
              "com.veltra.agentMonitor.Connections", "Open", takeOpened, &isDone, "o", "/attacker"),
          "call");
    while (!isDone) {
        const int result = sd_bus_process(bus, nullptr);
        check(result, "process");
        if (result == 0)
            check(sd_bus_wait(bus, UINT64_MAX), "wait");
    }
    // Leaving the bus would end the connection.
    ::pause();
}

[[noreturn]] void become(const char* program)
{
    ::execl(program, program, nullptr);
    std::perror(program);
    std::_Exit(1);
}

void openInChild(Fd socket)
{
    if (::fork() == 0)
        askToBeLetIn(std::move(socket));
}

} // namespace

int main(int count, char** arguments)
{
    const std::string mode = count > 1 ? arguments[1] : "";
    const char* const trusted = count > 2 ? arguments[2] : nullptr;
    if (mode == "honest" || mode == "silent") {
        answer = mode == "honest" ? answerHonestly : nullptr;
        askToBeLetIn(connectToBus());
    } else if (mode == "child-answers" || mode == "child-forges") {
        answer = mode == "child-answers" ? answerHonestly : answerAsParent;
        openInChild(connectToBus());
        become(trusted);
    } else if (mode == "answers-then-executes") {
        std::array<int, 2> ends{};
        ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data());
        parentsEnd = ends[1];
        answer = answerThroughParent;
        openInChild(connectToBus());
        answerHonestly(receiveFromChild(ends[0]));
        become(trusted);
    }
    return 2;
}

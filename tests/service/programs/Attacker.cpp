// Tries to be accepted by the helper without being the trusted program. Prints "granted PATH" or
// "refused WHY". The process that connects may fork: then the child can use the connection, and the
// bus still believes that it is the parent's.
#include "platform/bus/CallerChallenge.h"
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
#include <vector>

#include <sys/mount.h>
#include <sys/socket.h>
#include <systemd/sd-event.h>
#include <unistd.h>

namespace {

using intruder::askToBeLetIn;
using intruder::Challenge;
using intruder::connectToBus;
using veltra::Fd;
using namespace std::chrono_literals;

int parentsEnd = -1;

void answerHonestly(const Challenge& challenge)
{
    veltra::answerChallenge(challenge.socket, challenge.nonce, challenge.uniqueName);
}

// With the parent's process id in the stamp, which the kernel permits to root of the pid namespace.
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
        intruder::say(std::string{"cannot forge: "} + std::strerror(errno));
    }
}

// Lets the parent answer, which then executes the trusted program.
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

[[noreturn]] void become(const char* program)
{
    ::execl(program, program, nullptr);
    std::perror(program);
    std::_Exit(1);
}

void openInChild(Fd socket, intruder::Answer answer)
{
    if (::fork() == 0)
        askToBeLetIn(std::move(socket), answer);
}

// Asks for a connection every second, and never answers.
[[noreturn]] void insist()
{
    sd_bus* const bus = intruder::join(connectToBus(), nullptr);
    for (bool isDone = false; !isDone;) {
        intruder::requestConnection(bus, isDone);
        const auto next = std::chrono::steady_clock::now() + 1s;
        while (!isDone && std::chrono::steady_clock::now() < next)
            if (sd_bus_process(bus, nullptr) == 0)
                sd_bus_wait(bus, 100'000);
    }
    ::pause();
    std::_Exit(0);
}

// Connects to the bus as that many programs, none of which answers.
[[noreturn]] void crowd(int size)
{
    sd_event* loop = nullptr;
    intruder::check(sd_event_default(&loop), "make a loop");
    static bool isDone = false;
    for (; size > 0; --size) {
        sd_bus* const bus = intruder::join(connectToBus(), nullptr);
        intruder::requestConnection(bus, isDone);
        intruder::check(sd_bus_attach_event(bus, loop, 0), "attach the bus");
    }
    intruder::check(sd_event_loop(loop), "run the loop");
    std::_Exit(0);
}

} // namespace

int main(int count, char** arguments)
{
    const std::string mode = count > 1 ? arguments[1] : "";
    const char* const trusted = count > 2 ? arguments[2] : nullptr;
    const std::string folder = count > 3 ? arguments[3] : "";
    if (mode == "honest" || mode == "silent") {
        askToBeLetIn(connectToBus(), mode == "honest" ? answerHonestly : nullptr);
    } else if (mode == "child-answers" || mode == "child-forges") {
        openInChild(connectToBus(), mode == "child-answers" ? answerHonestly : answerAsParent);
        become(trusted);
    } else if (mode == "answers-then-executes") {
        std::array<int, 2> ends{};
        ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data());
        parentsEnd = ends[1];
        openInChild(connectToBus(), answerThroughParent);
        answerHonestly(receiveFromChild(ends[0]));
        become(trusted);
    } else if (mode == "insists") {
        insist();
    } else if (mode == "crowd") {
        crowd(std::stoi(arguments[2]));
    } else if (mode == "forges-link") {
        intruder::forgeLinkToExecutable(trusted);
        askToBeLetIn(connectToBus(), answerHonestly);
    } else if (mode == "relays" || mode == "relays-from-mount") {
        Fd socket = connectToBus();
        if (mode == "relays-from-mount")
            intruder::checkLast(
                ::mount(folder.c_str(), "/run/dbus", nullptr, MS_BIND, nullptr) == 0, "mount");
        if (::fork() == 0)
            intruder::relay(std::move(socket), folder);
        become(trusted);
    }
    return 2;
}

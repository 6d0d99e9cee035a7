// agentctl SOCKET COMMAND: has the demonstration's agent carry out one command and prints its
// answer. Exit status 0: done; 1: the agent could not do it; 2: wrong use, or no agent there.

#include "demo/ControlAddress.h"
#include "platform/Fd.h"

#include <array>
#include <cstdio>
#include <string_view>

#include <sys/socket.h>

namespace {

using namespace veltra;

Result<std::string> ask(const std::string& path, std::string_view command)
{
    const auto address = ControlAddress::of(path);
    if (!address)
        return address.error();

    const Fd socket{::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)};
    if (!socket || ::connect(socket.get(), address.value().data(), ControlAddress::size()) != 0)
        return Error::last("reach the agent at", path);

    if (::send(socket.get(), command.data(), command.size(), MSG_NOSIGNAL) < 0)
        return Error::last("send to the agent at", path);

    std::array<char, 512> answer{};
    const ssize_t length = ::recv(socket.get(), answer.data(), answer.size(), 0);
    if (length < 0)
        return Error::last("hear from the agent at", path);
    return std::string{answer.data(), static_cast<std::size_t>(length)};
}

int run(const std::string& path, std::string_view command)
{
    const auto answer = ask(path, command);
    if (!answer) {
        std::fprintf(stderr, "agentctl: %s\n", answer.error().message().c_str());
        return 2;
    }
    std::printf("%s\n", answer.value().c_str());
    return answer.value().starts_with("ok: ") ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: agentctl SOCKET COMMAND\n", stderr);
        return 2;
    }
    return run(argv[1], argv[2]);
}

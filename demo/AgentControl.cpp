#include "demo/AgentControl.h"

#include "demo/ControlAddress.h"

#include <array>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace veltra {

Result<AgentControl> AgentControl::listen(const std::string& path)
{
    const auto address = ControlAddress::of(path);
    if (!address)
        return address.error();

    ::unlink(path.c_str());
    Fd socket{::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
    if (!socket || ::bind(socket.get(), address.value().data(), ControlAddress::size()) != 0 ||
        ::listen(socket.get(), 8) != 0)
        return Error::last("listen at", path);
    return AgentControl{std::move(socket)};
}

void AgentControl::serve(const Command& carryOut)
{
    constexpr int patienceMilliseconds = 1000;
    const Fd client{::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
    pollfd readable{client.get(), POLLIN, 0};
    if (!client || ::poll(&readable, 1, patienceMilliseconds) != 1)
        return;

    std::array<char, 512> command{};
    const ssize_t length = ::recv(client.get(), command.data(), command.size(), MSG_DONTWAIT);
    if (length <= 0)
        return;

    const auto answer = carryOut({command.data(), static_cast<std::size_t>(length)});
    // A client that has left meanwhile does not need the answer.
    (void)::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

Result<std::string> AgentControl::ask(const std::string& path, std::string_view command)
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

} // namespace veltra

#pragma once

#include "platform/bus/CallerChallenge.h"

#include <array>
#include <cstring>
#include <string>

#include <sys/socket.h>

namespace veltra {

/// What arrives next at a socket; empty if there is nothing.
inline std::string receivedAt(const Fd& socket)
{
    std::string bytes(1000, '\0');
    const ssize_t size = ::recv(socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return bytes;
}

/// What the program `uniqueName` rightly answers to `challenge`.
inline std::string rightAnswer(const std::string& challenge, const std::string& uniqueName)
{
    const auto sockets = std::move(ChallengeSockets::make().value());
    ::send(sockets.ours.get(), challenge.data(), challenge.size(), 0);
    answerChallenge(sockets.theirs, uniqueName);
    return receivedAt(sockets.ours);
}

/// Sends `bytes` together with a control message; returns whether the kernel permits it.
template <typename Content>
bool sendWith(const Fd& socket, std::string bytes, int type, const Content& content)
{
    iovec part{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof content)> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = type;
    header->cmsg_len = CMSG_LEN(sizeof content);
    std::memcpy(CMSG_DATA(header), &content, sizeof content);
    return ::sendmsg(socket.get(), &message, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

} // namespace veltra

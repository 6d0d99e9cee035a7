#include "platform/bus/CallerChallenge.h"

#include "platform/bus/Refusal.h"

#include <array>
#include <cstring>
#include <optional>
#include <utility>

#include <sys/random.h>
#include <sys/socket.h>

namespace veltra {

namespace {

constexpr std::size_t nonceSize = 32;

// Bytes that no other protocol starts with: a program that can be made to write chosen data to a
// descriptor, such as the clipboard's content, must not answer the challenge that way.
constexpr std::array<char, 16> tag{'\0', 'V',    'x',    'A',  'n',  's',    'w',    'e',
                                   'r',  '\x01', '\xFE', '\0', '\n', '\xC0', '\x80', '\xFF'};

std::string answerTo(const std::vector<std::uint8_t>& nonce, const std::string& uniqueName)
{
    std::string answer{tag.data(), tag.size()};
    answer.append(nonce.begin(), nonce.end());
    return answer + uniqueName;
}

int optionOf(const Fd& socket, int name)
{
    int value = -1;
    socklen_t size = sizeof value;
    return ::getsockopt(socket.get(), SOL_SOCKET, name, &value, &size) == 0 ? value : -1;
}

// Asks the socket alone: a stranger's descriptor may be a file of a file system that never answers.
bool isSuitable(const Fd& socket)
{
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    return optionOf(socket, SO_DOMAIN) == AF_UNIX && optionOf(socket, SO_TYPE) == SOCK_SEQPACKET &&
           optionOf(socket, SO_ACCEPTCONN) == 0 &&
           ::getpeername(socket.get(), reinterpret_cast<sockaddr*>(&peer), &size) == 0;
}

// The sender's credentials, if the message came with nothing else. There is no room for anything
// else, and the kernel closes descriptors for which there is no room.
std::optional<ucred> onlyCredentials(msghdr& message)
{
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    if ((message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0 || !header ||
        header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_CREDENTIALS)
        return std::nullopt;

    ucred credentials{};
    std::memcpy(&credentials, CMSG_DATA(header), sizeof credentials);
    return credentials;
}

} // namespace

Result<CallerChallenge> CallerChallenge::send(Fd socket)
{
    if (!isSuitable(socket))
        return refusal(Refusal::bringsNoSocket);
    // Set before the challenge is sent, so that no answer to it arrives without a stamp.
    const int isWanted = 1;
    std::vector<std::uint8_t> nonce(nonceSize);
    if (::setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &isWanted, sizeof isWanted) != 0 ||
        ::getrandom(nonce.data(), nonce.size(), 0) != static_cast<ssize_t>(nonce.size()))
        return Error::last("make a challenge");
    if (::send(socket.get(), nonce.data(), nonce.size(), MSG_NOSIGNAL | MSG_DONTWAIT) !=
        static_cast<ssize_t>(nonce.size()))
        return refusal(Refusal::takesNoChallenge);

    return CallerChallenge{std::move(socket), std::move(nonce)};
}

CallerChallenge::CallerChallenge(Fd socket, std::vector<std::uint8_t> nonce)
    : socket_{std::move(socket)}, nonce_{std::move(nonce)}
{
}

Result<> CallerChallenge::check(const Caller& caller) const
{
    const std::string expected = answerTo(nonce_, caller.uniqueName);
    std::string answer(expected.size(), '\0');
    iovec part{answer.data(), answer.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = ::recvmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size <= 0)
        return refusal(Refusal::provesNothing);

    const auto sender = onlyCredentials(message);
    answer.resize(static_cast<std::size_t>(size));
    if (!sender || answer != expected)
        return refusal(Refusal::provesWrongly);
    if (sender->pid != caller.process || sender->uid != caller.user)
        return refusal(Refusal::isAnotherProcess);
    return success;
}

Result<ChallengeSockets> ChallengeSockets::make()
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return Error::last("make a pair of sockets");
    return ChallengeSockets{.ours = Fd{ends[0]}, .theirs = Fd{ends[1]}};
}

void answerChallenge(const Fd& socket, const std::string& uniqueName)
{
    // One byte more than there should be shows that there is more.
    std::vector<std::uint8_t> nonce(nonceSize + 1);
    const ssize_t size = ::recv(socket.get(), nonce.data(), nonce.size(), MSG_DONTWAIT);
    if (size != static_cast<ssize_t>(nonceSize))
        return;
    nonce.resize(nonceSize);
    const std::string answer = answerTo(nonce, uniqueName);
    // If sending fails, the service notices because no answer comes.
    static_cast<void>(
        ::send(socket.get(), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

} // namespace veltra

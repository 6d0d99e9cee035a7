#include "platform/bus/CallerChallenge.h"

#include <array>
#include <cstring>
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

Result<CallerChallenge> CallerChallenge::make()
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0)
        return Error::last("make a challenge");
    Fd ourEnd{ends[0]};
    Fd strangersEnd{ends[1]};
    // Set before the other end is given away, so that no message arrives without a stamp.
    const int isWanted = 1;
    std::vector<std::uint8_t> nonce(nonceSize);
    if (::setsockopt(ourEnd.get(), SOL_SOCKET, SO_PASSCRED, &isWanted, sizeof isWanted) != 0 ||
        ::getrandom(nonce.data(), nonce.size(), 0) != static_cast<ssize_t>(nonce.size()))
        return Error::last("make a challenge");

    return CallerChallenge{std::move(ourEnd), std::move(strangersEnd), std::move(nonce)};
}

CallerChallenge::CallerChallenge(Fd ourEnd, Fd strangersEnd, std::vector<std::uint8_t> nonce)
    : ourEnd_{std::move(ourEnd)}, strangersEnd_{std::move(strangersEnd)}, nonce_{std::move(nonce)}
{
}

std::optional<std::string> CallerChallenge::objection(const Caller& caller) const
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
    const ssize_t size = ::recvmsg(ourEnd_.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size <= 0)
        return "it does not prove which process it is";

    const auto sender = onlyCredentials(message);
    answer.resize(static_cast<std::size_t>(size));
    if (!sender || answer != expected)
        return "it proves wrongly which process it is";
    if (sender->pid != caller.process || sender->uid != caller.user)
        return "another process answers for it";
    return std::nullopt;
}

void answerChallenge(const Fd& socket, const std::vector<std::uint8_t>& nonce,
                     const std::string& uniqueName)
{
    if (nonce.size() != nonceSize)
        return;
    const std::string answer = answerTo(nonce, uniqueName);
    // If sending fails, the service notices because no answer comes.
    static_cast<void>(
        ::send(socket.get(), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

} // namespace veltra

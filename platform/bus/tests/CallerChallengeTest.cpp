#include "platform/bus/CallerChallenge.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace veltra {
namespace {

using Objection = std::optional<std::string>;

const Objection wrongProof = "it proves wrongly which process it is";

/// A challenge of this very process.
class CallerChallengeTest : public testing::Test {
  protected:
    /// What the program that is challenged rightly sends.
    [[nodiscard]] std::string rightAnswer() const
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
        const Fd reading{ends[0]};
        answerChallenge(Fd{ends[1]}, challenge_.nonce(), self_.uniqueName);
        std::string answer(1000, '\0');
        const ssize_t size = ::recv(reading.get(), answer.data(), answer.size(), 0);
        answer.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return answer;
    }

    void answer(const std::string& bytes) const
    {
        EXPECT_EQ(::send(theirEnd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// The same with a descriptor, which takes more room than there is for credentials.
    void answerWithDescriptor(std::string bytes) const
    {
        const Fd file{::open("/dev/null", O_RDONLY | O_CLOEXEC)};
        const int descriptor = file.get();
        iovec part{bytes.data(), bytes.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof descriptor)> control{};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
        EXPECT_EQ(::sendmsg(theirEnd_.get(), &message, MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    CallerChallenge challenge_ = std::move(CallerChallenge::make().value());
    Fd theirEnd_ = challenge_.takeStrangersEnd();
    CallerChallenge::Caller self_{
        .process = ::getpid(), .user = ::geteuid(), .uniqueName = ":1.42"};
};

TEST_F(CallerChallengeTest, TakesTheAnswerOfTheCaller)
{
    answerChallenge(theirEnd_, challenge_.nonce(), self_.uniqueName);

    EXPECT_EQ(challenge_.objection(self_), std::nullopt);
}

TEST_F(CallerChallengeTest, ObjectsToNoAnswer)
{
    EXPECT_EQ(challenge_.objection(self_), "it does not prove which process it is");
}

TEST_F(CallerChallengeTest, ObjectsToEveryOtherAnswer)
{
    const std::string right = rightAnswer();
    ASSERT_FALSE(right.empty());
    std::string changed = right;
    changed[20] = static_cast<char>(changed[20] ^ 1);
    const std::string shortened = right.substr(0, right.size() - 1);

    for (const std::string& wrong : {changed, shortened, right + "1", right + "12"}) {
        answer(wrong);
        EXPECT_EQ(challenge_.objection(self_), wrongProof) << wrong.size();
    }
    answer(right);
    EXPECT_EQ(challenge_.objection(self_), std::nullopt);
}

TEST_F(CallerChallengeTest, ObjectsToARightAnswerThatADescriptorCameWith)
{
    answerWithDescriptor(rightAnswer());

    EXPECT_EQ(challenge_.objection(self_), wrongProof);
}

TEST_F(CallerChallengeTest, ObjectsToTheAnswerOfAnotherProcess)
{
    answer(rightAnswer());
    self_.process = ::getppid();

    EXPECT_EQ(challenge_.objection(self_), "another process answers for it");
}

TEST_F(CallerChallengeTest, ObjectsToTheAnswerOfAnotherUser)
{
    answer(rightAnswer());
    self_.user = ::geteuid() + 1;

    EXPECT_EQ(challenge_.objection(self_), "another process answers for it");
}

TEST_F(CallerChallengeTest, IsNotAnsweredWhenItsNonceIsNone)
{
    answerChallenge(theirEnd_, {1, 2, 3}, self_.uniqueName);

    EXPECT_EQ(challenge_.objection(self_), "it does not prove which process it is");
}

} // namespace
} // namespace veltra

#include "platform/bus/CallerChallenge.h"

#include "platform/bus/tests/ChallengeTesting.h"

#include <array>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace veltra {
namespace {

const std::string accepted;
const std::string noProof = "it does not prove which process it is";
const std::string wrongProof = "it proves wrongly which process it is";
const std::string noSocket = "it brings no socket to prove itself on";

void setOption(const Fd& socket, int name, int value)
{
    EXPECT_EQ(::setsockopt(socket.get(), SOL_SOCKET, name, &value, sizeof value), 0);
}

std::string refusalOf(Fd socket)
{
    const auto sent = CallerChallenge::send(std::move(socket));
    return sent ? accepted : sent.error().message();
}

/// A challenge of this very process, which has kept both ends.
class CallerChallengeTest : public testing::Test {
  protected:
    void answer(const std::string& bytes) const
    {
        EXPECT_EQ(::send(ourEnd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    [[nodiscard]] std::string answered() const
    {
        return rightAnswer(receivedAt(ourEnd_), self_.uniqueName);
    }

    [[nodiscard]] std::string verdict() const
    {
        const auto checked = challenge_.check(self_);
        return checked ? accepted : checked.error().message();
    }

    ChallengeSockets sockets_ = std::move(ChallengeSockets::make().value());
    const Fd& ourEnd_ = sockets_.ours;
    const Fd& sharedEnd_ = sockets_.theirs;
    CallerChallenge challenge_ =
        std::move(CallerChallenge::send(Fd{::dup(sharedEnd_.get())}).value());
    CallerChallenge::Caller self_{
        .process = ::getpid(), .user = ::geteuid(), .uniqueName = ":1.42"};
};

TEST_F(CallerChallengeTest, TakesTheAnswerOfTheCaller)
{
    answerChallenge(ourEnd_, self_.uniqueName);

    EXPECT_EQ(verdict(), accepted);
}

TEST_F(CallerChallengeTest, ObjectsToNoAnswer)
{
    EXPECT_EQ(verdict(), noProof);
}

TEST_F(CallerChallengeTest, ObjectsWhenTheOtherEndWasClosedWithoutAnAnswer)
{
    // Unread, the challenge would be reported as an error.
    EXPECT_FALSE(receivedAt(ourEnd_).empty());
    sockets_.ours = Fd{};

    EXPECT_EQ(verdict(), noProof);
}

TEST_F(CallerChallengeTest, ObjectsToEveryOtherAnswer)
{
    const std::string right = answered();
    ASSERT_FALSE(right.empty());
    std::string changed = right;
    changed[20] = static_cast<char>(changed[20] ^ 1);
    const std::string shortened = right.substr(0, right.size() - 1);

    for (const std::string& wrong : {changed, shortened, right + "1", right + "12"}) {
        answer(wrong);
        EXPECT_EQ(verdict(), wrongProof) << wrong.size();
    }
    answer(right);
    EXPECT_EQ(verdict(), accepted);
}

TEST_F(CallerChallengeTest, ObjectsToTheAnswerToAnEarlierChallenge)
{
    const std::string earlier = answered();
    const auto next = CallerChallenge::send(Fd{::dup(sharedEnd_.get())});

    answer(earlier);

    ASSERT_TRUE(next);
    EXPECT_FALSE(next.value().check(self_));
}

TEST_F(CallerChallengeTest, ObjectsToARightAnswerThatADescriptorCameWith)
{
    const Fd file{::open("/dev/null", O_RDONLY | O_CLOEXEC)};

    EXPECT_TRUE(sendWith(ourEnd_, answered(), SCM_RIGHTS, file.get()));

    EXPECT_EQ(verdict(), wrongProof);
}

TEST_F(CallerChallengeTest, ObjectsToARightAnswerWhoseStampTheCallerHasSwitchedOff)
{
    const std::string right = answered();

    // For the answer that is sent, and for the one that is read.
    setOption(sharedEnd_, SO_PASSCRED, 0);
    answer(right);
    EXPECT_EQ(verdict(), wrongProof);
    answer(right);
    setOption(sharedEnd_, SO_PASSCRED, 1);
    EXPECT_NE(verdict(), accepted);
}

TEST_F(CallerChallengeTest, DoesNotWaitThoughTheCallerHasMadeTheSocketWait)
{
    EXPECT_EQ(::fcntl(sharedEnd_.get(), F_SETFL, 0), 0);

    EXPECT_EQ(verdict(), noProof);
}

TEST_F(CallerChallengeTest, ObjectsToTheAnswerOfAnotherProcess)
{
    answer(answered());
    self_.process = ::getppid();

    EXPECT_EQ(verdict(), "another process answers for it");
}

TEST_F(CallerChallengeTest, ObjectsToTheAnswerOfAnotherUser)
{
    answer(answered());
    self_.user = ::geteuid() + 1;

    EXPECT_EQ(verdict(), "another process answers for it");
}

TEST_F(CallerChallengeTest, IsNotAnsweredWhenItsSizeIsNone)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{31}, std::size_t{33}})
        EXPECT_EQ(rightAnswer(std::string(size, 'x'), self_.uniqueName), "") << size;
}

TEST(CallerChallenge, IsNotSentWhereItWouldHaveToWait)
{
    auto sockets = std::move(ChallengeSockets::make().value());
    setOption(sockets.theirs, SO_SNDBUF, 0);
    while (::send(sockets.theirs.get(), "x", 1, MSG_DONTWAIT) == 1) {
    }

    EXPECT_EQ(refusalOf(std::move(sockets.theirs)), "it takes no challenge");
}

TEST(CallerChallenge, IsNotSentToWhoHasClosedHisEnd)
{
    auto sockets = std::move(ChallengeSockets::make().value());
    sockets.ours = {};

    EXPECT_NE(refusalOf(std::move(sockets.theirs)), accepted);
}

TEST(CallerChallenge, IsSentOnNothingButTheRightKindOfSocket)
{
    const auto made = [](int domain, int type) {
        return Fd{::socket(domain, type | SOCK_CLOEXEC, 0)};
    };
    const auto pair = [](int type) {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()), 0);
        const Fd other{ends[1]};
        return Fd{ends[0]};
    };
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    const Fd writing{pipe[1]};
    Fd listening = made(AF_UNIX, SOCK_SEQPACKET);
    const sockaddr_un anywhere{.sun_family = AF_UNIX, .sun_path = {}};
    ASSERT_EQ(::bind(listening.get(), reinterpret_cast<const sockaddr*>(&anywhere),
                     sizeof anywhere.sun_family),
              0);
    ASSERT_EQ(::listen(listening.get(), 1), 0);

    EXPECT_EQ(refusalOf(Fd{}), noSocket);
    EXPECT_EQ(refusalOf(Fd{::open("/dev/null", O_RDWR | O_CLOEXEC)}), noSocket);
    EXPECT_EQ(refusalOf(Fd{pipe[0]}), noSocket);
    EXPECT_EQ(refusalOf(pair(SOCK_STREAM)), noSocket);
    EXPECT_EQ(refusalOf(pair(SOCK_DGRAM)), noSocket);
    EXPECT_EQ(refusalOf(made(AF_UNIX, SOCK_SEQPACKET)), noSocket);
    EXPECT_EQ(refusalOf(std::move(listening)), noSocket);
    EXPECT_EQ(refusalOf(made(AF_INET, SOCK_STREAM)), noSocket);
}

} // namespace
} // namespace veltra

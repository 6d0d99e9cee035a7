#include "platform/bus/CallerAuthentication.h"

#include "platform/bus/ConnectionNames.h"
#include "platform/bus/tests/ClientProgram.h"

#include <functional>
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

/// A private bus, on which the test program itself is the caller.
class CallerAuthenticationTest : public testing::Test {
  protected:
    [[nodiscard]] std::unique_ptr<BusConnection> join() const
    {
        return std::move(BusConnection::openAt(address_).value());
    }

    [[nodiscard]] bool isOnBus(const std::string& name) const
    {
        const auto bus = join();
        auto question = bus->methodCall(connections::busName, connections::busPath,
                                        connections::busName, "NameHasOwner");
        auto answer = bus->call(question.append(name));
        bool hasOwner = false;
        EXPECT_TRUE(answer && answer.value().read(hasOwner));
        return hasOwner;
    }

    [[nodiscard]] bool providesPidfds() const
    {
        const auto bus = join();
        auto credentials = bus->askBus<std::map<std::string, BusVariant<Fd>>>(
            "GetConnectionCredentials", bus->uniqueName());
        return credentials && findProperty<Fd>(credentials.value(), "ProcessFD");
    }

    /// "accepted", or why the caller is refused. `keptEnd` is where it answers; `examine` is called
    /// on another thread while the caller is examined.
    [[nodiscard]] std::string outcomeFor(
        const std::string& name, Fd socket, const Fd& keptEnd = {},
        const std::function<void()>& examine = [] {})
    {
        const auto bus = join();
        EXPECT_TRUE(bus->serveOn(*loop_));
        const auto answering =
            keptEnd
                ? std::move(
                      loop_->watch(keptEnd.get(), [&] { answerChallenge(keptEnd, name); }).value())
                : EventLoop::Registration{};
        const auto authentication = std::make_shared<CallerAuthentication>(
            CallerAuthentication::Setting{.loop = loop_,
                                          .bus = bus.get(),
                                          .busDaemonProcess = ::getpid(),
                                          .examine = [&](const auto&) { examine(); },
                                          .workers = std::make_shared<FairWorkers>(1, 1),
                                          .takesPidfds = takesPidfds_},
            name, std::move(socket));
        std::string outcome;
        authentication->start([&](const Result<CallerAuthentication::Process>& process) {
            outcome = process ? "accepted" : process.error().message();
            loop_->stop();
        });
        EXPECT_TRUE(loop_->run());
        return outcome;
    }

    /// The outcome for a caller who leaves the bus while it is examined, and who answers all the
    /// same.
    [[nodiscard]] std::string outcomeForOneWhoLeaves()
    {
        auto caller = join();
        const std::string name = caller->uniqueName();
        auto sockets = std::move(ChallengeSockets::make().value());
        return outcomeFor(name, std::move(sockets.theirs), sockets.ours, [&] {
            caller.reset();
            while (isOnBus(name)) {
            }
        });
    }

    void hidePidfds() noexcept { takesPidfds_ = false; }

  private:
    bool takesPidfds_ = true;
    ClientProgram daemon_{{"dbus-daemon", "--session", "--nofork", "--print-address"}};
    std::string address_ = daemon_.line();
    std::shared_ptr<EventLoop> loop_ = std::move(EventLoop::open({}).value());
};

TEST_F(CallerAuthenticationTest, AcceptsWhoAnswers)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: this program would be somebody else's";
    const auto caller = join();
    auto sockets = std::move(ChallengeSockets::make().value());

    EXPECT_EQ(outcomeFor(caller->uniqueName(), std::move(sockets.theirs), sockets.ours),
              "accepted");
}

// What then becomes of its connections is the listener's business.
TEST_F(CallerAuthenticationTest, AsksForTheNameOnlyWhereTheBusProvidesNoPidfd)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: this program would be somebody else's";

    EXPECT_EQ(outcomeForOneWhoLeaves(), providesPidfds() ? "accepted" : "it has left the bus");
}

TEST_F(CallerAuthenticationTest, AsksForTheNameWherePidfdsAreHidden)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: this program would be somebody else's";
    hidePidfds();

    EXPECT_EQ(outcomeForOneWhoLeaves(), "it has left the bus");
}

TEST_F(CallerAuthenticationTest, AcceptsWhoAnswersWherePidfdsAreHidden)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: this program would be somebody else's";
    hidePidfds();
    const auto caller = join();
    auto sockets = std::move(ChallengeSockets::make().value());

    EXPECT_EQ(outcomeFor(caller->uniqueName(), std::move(sockets.theirs), sockets.ours),
              "accepted");
}

TEST_F(CallerAuthenticationTest, RefusesWhoBringsNoSocket)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: this program would be somebody else's";
    const auto caller = join();

    EXPECT_EQ(outcomeFor(caller->uniqueName(), {}), "it brings no socket to prove itself on");
}

TEST_F(CallerAuthenticationTest, RefusesWhoHasLeftTheBus)
{
    const std::string name = join()->uniqueName();
    while (isOnBus(name)) {
    }

    EXPECT_EQ(outcomeFor(name, {}), "the bus does not know who it is");
}

} // namespace
} // namespace veltra

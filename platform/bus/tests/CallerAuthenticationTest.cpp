#include "platform/bus/CallerAuthentication.h"

#include "platform/bus/ConnectionNames.h"
#include "platform/bus/tests/ClientProgram.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

/// A bus of the test's own, on which the program itself is the caller.
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

    /// Why the caller is refused when this happens once it has been looked at.
    [[nodiscard]] std::string refusalAfter(const std::string& name,
                                           const std::function<void()>& action)
    {
        const auto bus = join();
        EXPECT_TRUE(bus->serveOn(*loop_));
        const auto authentication = std::make_shared<CallerAuthentication>(
            CallerAuthentication::Setting{.loop = loop_,
                                          .bus = bus.get(),
                                          .busDaemonProcess = ::getpid(),
                                          .examine = [&action](const auto&) { action(); },
                                          .takesPidfds = false,
                                          .underWay = std::make_shared<std::map<uid_t, int>>()},
            name);
        std::string why;
        authentication->start(
            [&](const CallerAuthentication::Process& process, const std::string& reason) {
                EXPECT_EQ(process, nullptr);
                why = reason;
                loop_->stop();
            });
        EXPECT_TRUE(loop_->run());
        return why;
    }

  private:
    ClientProgram daemon_{{"dbus-daemon", "--session", "--nofork", "--print-address"}};
    std::string address_ = daemon_.line();
    std::shared_ptr<EventLoop> loop_ = std::move(EventLoop::open({}).value());
};

TEST_F(CallerAuthenticationTest, RefusesWhoHasLeftTheBusMeanwhile)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: this program would be somebody else's";
    auto caller = join();
    const std::string name = caller->uniqueName();

    const std::string refusal = refusalAfter(name, [&] {
        caller.reset();
        while (isOnBus(name)) {
        }
    });

    EXPECT_EQ(refusal, "it has left the bus");
}

} // namespace
} // namespace veltra

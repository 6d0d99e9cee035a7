#include "platform/base/EventLoop.h"

#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

struct Pipe {
    Pipe()
    {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::system_error{errno, std::generic_category(), "pipe2"};
        readEnd = Fd{ends[0]};
        writeEnd = Fd{ends[1]};
    }

    void write() const { EXPECT_EQ(::write(writeEnd.get(), "x", 1), 1); }
    void readOne() const
    {
        char byte = 0;
        EXPECT_EQ(::read(readEnd.get(), &byte, 1), 1);
    }

    Fd readEnd;
    Fd writeEnd;
};

class EventLoopTest : public testing::Test {
  protected:
    [[nodiscard]] EventLoop& loop() const { return *loop_; }
    void add(const std::string& word) { words_.push_back(word); }
    [[nodiscard]] const Words& words() const { return words_; }

    EventLoop::Registration watch(const Pipe& pipe, const std::string& word)
    {
        auto registration = loop().watch(pipe.readEnd.get(), [this, &pipe, word] {
            pipe.readOne();
            add(word);
        });
        return std::move(registration.value());
    }

    /// Reads nothing.
    EventLoop::Registration watchArrivals(const Pipe& pipe)
    {
        auto registration = loop().watch(
            pipe.readEnd.get(), [this] { add("noticed"); }, EventLoop::Notice::onArrival);
        return std::move(registration.value());
    }

    /// Runs the loop until it has nothing to do: posted work alternates with everything else.
    void runOut()
    {
        constexpr int enough = 10;
        postTurn(enough);
        EXPECT_TRUE(loop().run());
    }

  private:
    void postTurn(int turns)
    {
        loop().post([this, turns] { turns > 1 ? postTurn(turns - 1) : loop().stop(); });
    }

    Words words_;
    std::unique_ptr<EventLoop> loop_ = std::move(EventLoop::open([this](const auto& error) {
                                                     add(std::string{"threw "} + error.what());
                                                 }).value());
};

TEST_F(EventLoopTest, RunsWhatIsPostedInOrderOnItsOwnThread)
{
    std::thread poster{[this] {
        for (const char* word : {"a", "b", "c"})
            loop().post([this, word] { add(word); });
        loop().post([this] { loop().stop(); });
    }};

    EXPECT_TRUE(loop().run());

    poster.join();
    EXPECT_EQ(words(), (Words{"a", "b", "c"}));
}

TEST_F(EventLoopTest, RunsWhatWasPostedBeforeItRan)
{
    loop().post([this] { add("early"); });

    runOut();

    EXPECT_EQ(words(), Words{"early"});
}

TEST_F(EventLoopTest, ReturnsAtOnceWhenItWasStoppedBeforeItRan)
{
    loop().stop();

    EXPECT_TRUE(loop().run());

    runOut();
    SUCCEED() << "and can be run again";
}

TEST_F(EventLoopTest, CallsTheHandlerOfAReadableDescriptorAsOftenAsItIs)
{
    const Pipe pipe;
    const auto registration = watch(pipe, "read");
    pipe.write();
    pipe.write();

    runOut();

    EXPECT_EQ(words(), (Words{"read", "read"}));
}

TEST_F(EventLoopTest, CallsTheHandlerWhenTheOtherEndIsClosed)
{
    Pipe pipe;
    auto registration = loop().watch(pipe.readEnd.get(), [this] { loop().stop(); });
    ASSERT_TRUE(registration);

    pipe.writeEnd = Fd{};

    EXPECT_TRUE(loop().run());
}

TEST_F(EventLoopTest, ForgetsADescriptorWithItsRegistration)
{
    const Pipe pipe;
    auto registration = watch(pipe, "read");
    pipe.write();

    registration = {};
    runOut();

    EXPECT_EQ(words(), Words{});
}

TEST_F(EventLoopTest, WatchesADescriptorAgainOnceItIsForgotten)
{
    const Pipe pipe;
    auto registration = watch(pipe, "first");
    pipe.write();

    registration = {};
    registration = watch(pipe, "second");
    runOut();

    EXPECT_EQ(words(), Words{"second"});
}

TEST_F(EventLoopTest, LetsAHandlerEndItsOwnRegistrationAndAnother)
{
    const Pipe pipe;
    const Pipe other;
    pipe.write();
    other.write();
    std::array<EventLoop::Registration, 2> registrations;
    const auto endBoth = [&] {
        add("ended");
        registrations = {};
    };

    registrations[0] = std::move(loop().watch(pipe.readEnd.get(), endBoth).value());
    registrations[1] = std::move(loop().watch(other.readEnd.get(), endBoth).value());
    runOut();

    EXPECT_EQ(words(), Words{"ended"});
}

TEST_F(EventLoopTest, RefusesADescriptorThatCannotBeWatched)
{
    const Fd file{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};

    const auto registration = loop().watch(file.get(), [] {});

    ASSERT_FALSE(registration);
    EXPECT_EQ(registration.error().message(), "watch descriptor: Operation not permitted");
}

TEST_F(EventLoopTest, CallsTimersInTheOrderOfTheirTimesAndNotBefore)
{
    const auto start = std::chrono::steady_clock::now();
    const auto last = loop().callAfter(400ms, [this] { loop().stop(); });
    const auto second = loop().callAfter(200ms, [this] { add("second"); });
    const auto first = loop().callAfter(5ms, [this] { add("first"); });

    EXPECT_TRUE(loop().run());

    EXPECT_GE(std::chrono::steady_clock::now() - start, 400ms);
    EXPECT_EQ(words(), (Words{"first", "second"}));
}

TEST_F(EventLoopTest, ForgetsATimerWithItsRegistration)
{
    const auto last = loop().callAfter(5ms, [this] { loop().stop(); });
    auto forgotten = loop().callAfter(0ms, [this] { add("forgotten"); });

    forgotten = {};
    EXPECT_TRUE(loop().run());

    EXPECT_EQ(words(), Words{});
}

TEST_F(EventLoopTest, LetsGoOfATimersHandlerWhenItHasBeenCalled)
{
    auto used = std::make_shared<int>();
    const std::weak_ptr kept = used;
    const auto registration =
        loop().callAfter(0ms, [this, used = std::move(used)] { loop().stop(); });
    EXPECT_FALSE(kept.expired());

    EXPECT_TRUE(loop().run());

    EXPECT_TRUE(kept.expired());
}

TEST_F(EventLoopTest, TellsWhatAHandlerThrowsAndGoesOn)
{
    loop().post([] { throw std::runtime_error{"too bad"}; });
    loop().post([this] { add("next"); });

    runOut();

    EXPECT_EQ(words(), (Words{"threw too bad", "next"}));
}

TEST_F(EventLoopTest, TakesRegistrationsThatItsHandlersHold)
{
    const Pipe pipe;
    const Pipe other;
    std::weak_ptr<EventLoop::Registration> held;
    {
        const auto shortLived = std::move(EventLoop::open({}).value());
        const auto own = std::make_shared<EventLoop::Registration>();
        const auto others = std::make_shared<EventLoop::Registration>();
        *own = std::move(shortLived->watch(pipe.readEnd.get(), [own, others] {}).value());
        *others = std::move(shortLived->watch(other.readEnd.get(), [own] {}).value());
        held = own;
    }

    EXPECT_TRUE(held.expired());
}

TEST_F(EventLoopTest, NoticesEachArrivalOnceThoughNothingIsRead)
{
    const Pipe pipe;
    const auto registration = watchArrivals(pipe);
    pipe.write();

    runOut();
    EXPECT_EQ(words(), Words{"noticed"});
    pipe.write();
    runOut();

    EXPECT_EQ(words(), (Words{"noticed", "noticed"}));
}

TEST_F(EventLoopTest, NoticesOnArrivalThatTheOtherEndIsClosed)
{
    Pipe pipe;
    const auto registration = watchArrivals(pipe);
    pipe.write();
    runOut();

    pipe.writeEnd = Fd{};
    runOut();

    EXPECT_EQ(words(), (Words{"noticed", "noticed"}));
}

TEST_F(EventLoopTest, LetsARegistrationOutliveIt)
{
    const Pipe pipe;
    EventLoop::Registration registration;
    {
        const auto shortLived = std::move(EventLoop::open({}).value());
        registration = std::move(shortLived->watch(pipe.readEnd.get(), [] {}).value());
    }

    registration = {};

    SUCCEED() << "and nothing is touched that is gone";
}

} // namespace
} // namespace veltra
